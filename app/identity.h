#pragma once

/// Names the organisation and the application and chooses where settings lie:
/// INI files, the system-wide one in `settings/` beside the executable. Call
/// once, right after the application object was made and before the first
/// settings object.
void setApplicationIdentity();
