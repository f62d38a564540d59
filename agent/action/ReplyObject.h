#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <optional>

/// What a reply's JSON object says, flattened to texts as an action needs it.
struct ReplyObject
{
    struct Member
    {
        bool isString = false;
        bool isObject = false;
        std::optional<QString> text = {};   ///< Of a string, number, boolean or array; else absent.
        QMap<QString, QString> fields = {}; ///< Of an object: its members that have a text.
    };

    QMap<QString, Member> members;

    /// Decodes strict RFC 8259 JSON whose top-level value is an object; of a repeated key the last
    /// one counts. Nothing for anything else. Takes time in proportion to the text, and no more
    /// stack and memory for deeper nesting.
    [[nodiscard]] static std::optional<ReplyObject> decode(const QByteArray &utf8);
};
