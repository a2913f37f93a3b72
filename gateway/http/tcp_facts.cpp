#include "tcp_facts.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace gateway {

tcp_facts facts_of(int socket) {
    tcp_info info{}; // an older kernel fills in less of it
    socklen_t size = sizeof(info);
    if (getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) != 0)
        return {};
    return {info.tcpi_bytes_received, info.tcpi_bytes_acked, info.tcpi_snd_wnd, info.tcpi_notsent_bytes > 0};
}

void limit_unsent_bytes(int socket, int bytes) {
    setsockopt(socket, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &bytes, sizeof(bytes));
}

} // namespace gateway
