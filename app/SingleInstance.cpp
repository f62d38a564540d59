#include "app/SingleInstance.h"

#include "platform/Platform.h"

namespace {
// A process that ends between two looks at it leaves its place to us, or to another start that is
// quicker. So often this does not happen by chance.
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
        case Instance::Answer::nobody:
            break;
        }
    }
    return Outcome::silent;
}
