// The last words of a process. Internal.
#pragma once

namespace platform {

// Shows a caption and a text to the user, whole, and returns when they have been handed over: on standard error.
void ShowMessage(const char* caption, const char* text);

} // namespace platform
