#include "platform/http/SocketBytes.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace qvx::platform {

uint64_t bytesMovedOverSocket(int descriptor) {
    tcp_info info{};
    socklen_t size = sizeof info;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
        return 0;
    return info.tcpi_bytes_acked + info.tcpi_bytes_received;
}

} // namespace qvx::platform
