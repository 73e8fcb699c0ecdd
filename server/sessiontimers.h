#pragma once

// Intervals of the server session's timers, in milliseconds.
namespace SessionTimer {

// Guard of the probe and the login together.
inline constexpr int handshakeTimeoutMs = 2000;
inline constexpr int reconnectIntervalMs = 60000;
inline constexpr int responseTimeoutMs = 60000;
// A downlink expects no reply: the next request goes after this pause.
inline constexpr int sendDataPauseMs = 100;
// A downlink made of a ModBus write waits this long for the server's answer,
// which its status register reports.
inline constexpr int downlinkAnswerTimeoutMs = 10000;

// A link can die without a word. An open link that has been quiet this long
// is pinged, and aborted when nothing has come back within the answer bound:
// a dead link is given up 40 s after its last frame, well within the
// reconnection period that follows.
inline constexpr int linkQuietPingMs = 30000;
inline constexpr int linkAnswerTimeoutMs = 10000;
// Bound of one attempt's TCP connection and opening handshake together.
inline constexpr int openingTimeoutMs = 30000;

} // namespace SessionTimer
