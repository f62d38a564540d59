#include "inference/ChatMessage.h"

QString rawText(Role role)
{
    switch (role) {
    case Role::system:
        return QStringLiteral("system");
    case Role::user:
        return QStringLiteral("user");
    case Role::assistant:
        return QStringLiteral("assistant");
    }
    Q_UNREACHABLE();
}

std::optional<Role> roleFromText(const QString &text)
{
    for (const Role role : {Role::system, Role::user, Role::assistant}) {
        if (text == rawText(role))
            return role;
    }
    return std::nullopt;
}
