#pragma once

/// Makes the font that the forms were drawn for the application's font: "MS
/// Shell Dlg 2", 8.25 points. Where it does not exist, the first installed one
/// of a few narrow fonts takes its place, so that no text outgrows the forms'
/// fixed geometry. Call once, after the application object was made.
void useFormFont();
