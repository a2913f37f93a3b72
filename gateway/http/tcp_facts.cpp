#include "tcp_facts.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace gateway {

std::uint64_t received_bytes(int socket) {
    tcp_info info{};
    socklen_t size = sizeof(info);
    return getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_bytes_received : 0;
}

void limit_unsent_bytes(int socket, int bytes) {
    setsockopt(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &bytes, sizeof(bytes));
}

} // namespace gateway
