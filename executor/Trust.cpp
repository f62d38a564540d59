#include "executor/Trust.h"

#include "agent/action/ActionError.h"
#include "platform/Accessibility.h"
#include "platform/Platform.h"

void Executor::requireTrust(const QString &message)
{
    Accessibility &accessibility = Platform::current().accessibility();
    if (accessibility.isTrusted())
        return;
    accessibility.requestTrust();
    if (!accessibility.isTrusted())
        throw ActionError(message);
}
