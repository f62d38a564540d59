#include "bench/BodyServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {
int listenOnLoopback()
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *const generic = reinterpret_cast<sockaddr *>(&address);
    if (listener < 0 || bind(listener, generic, length) != 0 || listen(listener, 4) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        std::perror("The server cannot listen");
        std::exit(EXIT_FAILURE);
    }
    std::printf("%d\n", static_cast<int>(ntohs(address.sin_port)));
    std::fflush(stdout);
    return listener;
}

bool readRequest(int connection)
{
    std::string request;
    std::array<char, 4096> buffer{};
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t count = read(connection, buffer.data(), buffer.size());
        if (count <= 0)
            return false;
        request.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
}

bool writeAll(int connection, const char *data, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = write(connection, data, size);
        if (count <= 0)
            return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}
} // namespace

void BodyServer::serve(long long bodySize)
{
    std::signal(SIGPIPE, SIG_IGN);
    const int listener = listenOnLoopback();
    const std::vector<char> chunk(1 << 20, 'q');
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Type: application/octet-stream\r\n"
                             "Connection: close\r\nContent-Length: " +
                             std::to_string(bodySize) + "\r\n\r\n";
    for (;;) {
        const int connection = accept(listener, nullptr, nullptr);
        if (connection < 0)
            continue;
        if (readRequest(connection) && writeAll(connection, head.data(), head.size())) {
            for (long long left = bodySize; left > 0;) {
                const auto size = static_cast<std::size_t>(std::min<long long>(left, 1 << 20));
                if (!writeAll(connection, chunk.data(), size))
                    break;
                left -= static_cast<long long>(size);
            }
        }
        close(connection);
    }
}
