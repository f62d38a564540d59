#include "inference/ChatMessage.h"

using namespace Qt::StringLiterals;

QString rawText(Role role)
{
    switch (role) {
    case Role::system:
        return u"system"_s;
    case Role::user:
        return u"user"_s;
    case Role::assistant:
        return u"assistant"_s;
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
