#pragma once

#include <QString>

#include <optional>

/// Who speaks in a conversation with the model.
enum class Role { system, user, assistant };

/// The text that a chat template knows the role by: "system", "user" or "assistant".
[[nodiscard]] QString rawText(Role role);

/// The role of that exact, lower-case text; nothing for any other.
[[nodiscard]] std::optional<Role> roleFromText(const QString &text);

/// One message of a conversation; the chat template adds all markers around its content.
struct ChatMessage
{
    Role role = Role::user;
    QString content;

    bool operator==(const ChatMessage &) const = default;
};
