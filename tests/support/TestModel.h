#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

struct gguf_context;

/// A small model file with known replies. It is a real model that a real library decodes: a
/// vocabulary of single bytes, one layer of attention and an output matrix, whose weights leave no
/// doubt about the next token. Whatever the conversation is, the model gives the first reply; once
/// the prompt contains the k-th reply it gives the next one; the last reply is repeated for ever.
///
/// Each reply consists of private tokens, which no other reply uses: its text is cut into pieces of
/// a few bytes. A reply is recognised in a prompt by its whole text without the white space around
/// it, so that text must stand nowhere else in the prompt. Any other byte of a prompt is one token.
struct TestModel
{
    struct Reply
    {
        /// What the model says. Cut automatically unless pieces are given.
        QByteArray text;
        /// The reply cut by hand: each piece is one token, and an empty piece is a control token
        /// that renders as nothing. Then the text is not looked at. A single printable ASCII
        /// character cannot be a piece.
        QList<QByteArray> pieces = {};
        /// False: no end of generation follows, the reply starts again.
        bool ends = true;
    };

    QList<Reply> replies;
    /// Jinja text as model files carry it; nothing leaves the file without a template.
    std::optional<QByteArray> chatTemplate = chatMl();
    /// Whether the vocabulary's start token goes in front of each prompt.
    bool addsStartToken = false;
    /// The length of the pieces that texts are cut into; some get longer so that all differ.
    int bytesPerPiece = 6;
    /// The bytes that prompts are made of; all others are lost on the way to the model. Few of them
    /// make a file of a few kilobytes. Empty: every byte.
    QByteArray alphabet = {};
    /// Changes keys of the file before it is written, to make it a broken one.
    std::function<void(gguf_context *)> adjust = {};

    /// The template under which model files describe the ChatML format.
    [[nodiscard]] static QByteArray chatMl();
    /// Another one that is known: a header of role before each message, and nothing of ChatML.
    [[nodiscard]] static QByteArray withHeaders();
    /// A template that no engine knows.
    [[nodiscard]] static QByteArray unknownTemplate();
    /// A model that gives these replies.
    [[nodiscard]] static TestModel saying(const QList<QByteArray> &texts);

    /// Writes the file. Throws std::invalid_argument if the replies cannot be made, and
    /// std::runtime_error if the file cannot be written.
    void write(const QString &path) const;
};
