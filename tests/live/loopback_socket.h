// A TCP connection to a port of this machine, as the raw clients of kq-live's tests
// make one: a receive buffer of their choosing (0: the system's), and a timeout on
// each read.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdint>

namespace live_test {

// The socket, connected unless the port refused; -1 when none could be made.
inline int connectLoopback(uint16_t port, int receiveBuffer, timeval readTimeout) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return fd;
    if (receiveBuffer) setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &readTimeout, sizeof readTimeout);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    return fd;
}

}  // namespace live_test
