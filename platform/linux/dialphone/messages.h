#pragma once

// What DialPhone tells the program above pppd, on its error stream, one line each:
//
//     DialPhone: dialling *99#
//     DialPhone: line ATD*99#
//     DialPhone: connected
//     DialPhone: failed NO CARRIER
namespace dialphone {

inline constexpr char messagePrefix[] = "DialPhone: ";
inline constexpr char diallingMessage[] = "dialling "; ///< and the number
inline constexpr char lineMessage[] = "line ";         ///< and what phone or DialPhone said
inline constexpr char connectedMessage[] = "connected";
inline constexpr char failedMessage[] = "failed "; ///< and what PhoneLine::dial() returned

} // namespace dialphone
