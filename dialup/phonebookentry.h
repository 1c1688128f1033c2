#pragma once

/// Set-up step: creates the next phone-book entry that dials "*99#" through
/// the phone's modem and records its name for the current port. False when
/// nothing was created; the settings are then untouched. True also when the entry
/// was created and only the settings could not be written. Any thread.
bool createDialupConnection();
