#pragma once

// Intervals of the server session's timers, in milliseconds.
namespace SessionTimer {

// Guard of the probe and the login together.
inline constexpr int handshakeTimeoutMs = 2000;
inline constexpr int reconnectIntervalMs = 60000;
inline constexpr int responseTimeoutMs = 60000;
// A downlink expects no reply: the next request goes after this pause.
inline constexpr int sendDataPauseMs = 100;

} // namespace SessionTimer
