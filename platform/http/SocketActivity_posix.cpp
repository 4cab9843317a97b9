#include "platform/http/SocketActivity.h"

#include <sys/socket.h>

#include "platform/files/FileDescriptor.h"
#include "platform/http/SocketBytes.h"

namespace qvx::platform {

curl_socket_t SocketActivity::open(void* activity, curlsocktype, curl_sockaddr* address) {
    FileDescriptor descriptor(::socket(address->family, address->socktype, address->protocol));
    if (!descriptor || !descriptor.closeOnExec())
        return CURL_SOCKET_BAD;
    static_cast<SocketActivity*>(activity)->sockets_.push_back({descriptor.get(), 0});
    return descriptor.release();
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
        const uint64_t now = bytesMovedOverSocket(socket.descriptor);
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
