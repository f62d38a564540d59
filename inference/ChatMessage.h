#pragma once

#include <QString>

#include <optional>

/// The author of a message in a conversation with the model.
enum class Role { system, user, assistant };

/// The role's name in chat templates: "system", "user" or "assistant".
[[nodiscard]] QString rawText(Role role);

/// The role with exactly that name; nothing for any other text.
[[nodiscard]] std::optional<Role> roleFromText(const QString &text);

/// One message of a conversation; the chat template adds all markers around its content.
struct ChatMessage
{
    Role role = Role::user;
    QString content;

    bool operator==(const ChatMessage &) const = default;
};
