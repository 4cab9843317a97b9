#include "platform/http/SocketBytes.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace qvx::platform {

uint64_t bytesMovedOverSocket(int descriptor) {
    tcp_connection_info info{};
    socklen_t size = sizeof info;
    if (::getsockopt(descriptor, IPPROTO_TCP, TCP_CONNECTION_INFO, &info, &size) != 0)
        return 0;
    // What was sent includes what is on its way. Not tried: whether probes of a window that stays closed
    // count here; if they do, what still lies in the send buffer (tcpi_snd_sbbytes) tells better.
    return info.tcpi_txbytes - info.tcpi_txretransmitbytes + info.tcpi_rxbytes;
}

} // namespace qvx::platform
