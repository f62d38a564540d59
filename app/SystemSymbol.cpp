#include "app/SystemSymbol.h"

#include "platform/Appearance.h"
#include "platform/Platform.h"

QByteArray systemSymbol(const QString &name, int side)
{
    return Platform::current().appearance().symbol(name, side);
}
