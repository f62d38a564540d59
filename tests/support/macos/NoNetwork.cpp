#include "tests/support/NoNetwork.h"

#include <sandbox.h>

bool forbidNetwork()
{
    // Deprecated in favour of an interface for signed bundles only.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
    char *error = nullptr;
    const bool isForbidden = sandbox_init(kSBXProfileNoInternet, SANDBOX_NAMED, &error) == 0;
    if (!isForbidden)
        sandbox_free_error(error);
#pragma clang diagnostic pop
    return isForbidden;
}
