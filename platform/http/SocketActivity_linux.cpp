#include "platform/http/SocketActivity.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace qvx::platform {

namespace {

// Asked of the kernel and not of libcurl, which counts bytes as soon as they lie in the socket's buffer:
// megabytes of an upload would count as sent to a server that has long stopped reading.
uint64_t bytesMoved(int descriptor) {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
        return 0;
    return info.tcpi_bytes_acked + info.tcpi_bytes_received;
}

} // namespace

curl_socket_t SocketActivity::open(void* activity, curlsocktype, curl_sockaddr* address) {
    const int descriptor = ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
    if (descriptor < 0)
        return CURL_SOCKET_BAD;
    static_cast<SocketActivity*>(activity)->sockets_.push_back({descriptor, 0});
    return descriptor;
}

int SocketActivity::close(void* activity, curl_socket_t descriptor) {
    auto& sockets = static_cast<SocketActivity*>(activity)->sockets_;
    std::erase_if(sockets, [&](const Socket& socket) { return socket.descriptor == descriptor; });
    return ::close(descriptor);
}

// Every socket of the exchange, for there may be one to a proxy beside those of attempts to connect.
bool SocketActivity::hasMoved() {
    bool moved = false;
    for (Socket& socket : sockets_) {
        const uint64_t now = bytesMoved(socket.descriptor);
        moved = moved || now > socket.moved;
        socket.moved = now;
    }
    return moved;
}

bool SocketActivity::isIdle() {
    const Clock::time_point now = Clock::now();
    if (hasMoved())
        lastMove_ = now;
    return now - lastMove_ >= patience_;
}

} // namespace qvx::platform
