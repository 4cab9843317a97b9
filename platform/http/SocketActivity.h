#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstdint>
#include <vector>

namespace qvx::platform {

/// Makes the sockets of an exchange and watches, at the level of TCP, whether bytes move over any of them, so
/// that connecting, a proxy's answer, a handshake and a peer that empties a full send buffer count as well.
/// Used by one thread.
class SocketActivity {
public:
    using Clock = std::chrono::steady_clock;

    /// \param patience seconds without a byte after which the exchange counts as idle
    explicit SocketActivity(double patience) : patience_(patience) {}

    /// The callbacks for CURLOPT_OPENSOCKETFUNCTION and CURLOPT_CLOSESOCKETFUNCTION, which take the object as
    /// their data.
    static curl_socket_t open(void* activity, curlsocktype, curl_sockaddr* address);
    static int close(void* activity, curl_socket_t descriptor);

    /// Whether no byte has moved for as long as the patience lasts. Never true too early; too late by no more
    /// than the time between two calls.
    [[nodiscard]] bool isIdle();

    /// Starts the patience anew, for another request of the same exchange.
    void restart() { lastMove_ = Clock::now(); }

private:
    struct Socket {
        int descriptor;
        uint64_t moved;
    };

    /// Whether bytes moved since the last call.
    bool hasMoved();

    std::vector<Socket> sockets_;
    std::chrono::duration<double> patience_;
    Clock::time_point lastMove_ = Clock::now();
};

} // namespace qvx::platform
