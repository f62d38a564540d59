#pragma once

/// An HTTP server that answers every request on loopback with the same number of bytes, as fast as
/// the system takes them. It does nothing else, so that the client is what is measured.
namespace BodyServer {
/// Prints the port on standard output and serves until the process is ended.
[[noreturn]] void serve(long long bodySize);
} // namespace BodyServer
