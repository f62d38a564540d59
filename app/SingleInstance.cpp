#include "app/SingleInstance.h"

#include "platform/Platform.h"

namespace {
// If the running instance ends between the two calls, this start or a quicker one takes its place.
// That does not happen so many times by chance.
constexpr int maxAttempts = 5;
} // namespace

SingleInstance::Outcome
SingleInstance::settle(const std::function<void(Instance::Request)> &received,
                       Instance::Request request)
{
    Instance &instance = Platform::current().instance();
    for (int attempt = 0; attempt < maxAttempts; ++attempt) {
        if (instance.claim(received))
            return Outcome::isOurs;
        switch (instance.handOver(request)) {
        case Instance::Answer::taken:
            return Outcome::handedOver;
        case Instance::Answer::silent:
            return Outcome::silent;
        case Instance::Answer::notRunning:
            break;
        }
    }
    return Outcome::silent;
}
