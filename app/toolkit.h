#pragma once

/// Settles what Qt has to know before the application object is made: no
/// OpenGL, and forms that grow with the display's scaling. The windows of all
/// programs begin with it.
void prepareToolkit();
