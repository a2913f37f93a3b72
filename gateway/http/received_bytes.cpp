#include "received_bytes.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace gateway {

std::uint64_t received_bytes(int socket) {
    tcp_info info{};
    socklen_t size = sizeof(info);
    return getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_bytes_received : 0;
}

} // namespace gateway
