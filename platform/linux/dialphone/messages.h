#pragma once

// What DialPhone tells the program above pppd, on its error stream, one line each:
//
//     tolvane-dial: dialling *99#
//     tolvane-dial: connected
//     tolvane-dial: failed NO CARRIER
namespace dialphone {

inline constexpr char messagePrefix[] = "tolvane-dial: ";
inline constexpr char diallingMessage[] = "dialling "; ///< and the number
inline constexpr char connectedMessage[] = "connected";
inline constexpr char failedMessage[] = "failed "; ///< and what PhoneLine::dial() returned

} // namespace dialphone
