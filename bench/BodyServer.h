#pragma once

/// An HTTP server on loopback that answers every request with the same number of bytes, as fast as
/// possible. It does nothing else, so that the client is the bottleneck.
namespace BodyServer {
/// Prints the port on standard output and serves until the process is ended.
[[noreturn]] void serve(long long bodySize);
} // namespace BodyServer
