#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <optional>

/// The members of a reply's JSON object, as the texts that an action needs.
struct ReplyObject
{
    struct Member
    {
        bool isString = false;
        bool isObject = false;
        std::optional<QString> text =
            {}; ///< Of a string, number, boolean or array; absent otherwise.
        QMap<QString, QString> fields =
            {}; ///< Of an object: those of its members that have a text.
    };

    QMap<QString, Member> members;

    /// Decodes strict RFC 8259 JSON whose top-level value is an object; if a key is repeated, its
    /// last value counts. Nothing for anything else. Takes linear time; deep nesting needs no
    /// additional stack or memory.
    [[nodiscard]] static std::optional<ReplyObject> decode(const QByteArray &utf8);
};
