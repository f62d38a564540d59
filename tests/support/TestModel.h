#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>

struct gguf_context;

/// A small model file with known replies. It is a valid model for llama.cpp: a vocabulary of single
/// bytes, one layer of attention and an output matrix whose weights determine the next token. Its
/// first reply to any conversation is the first one of the list; if the prompt contains the k-th
/// reply, it gives the next one; the last reply is repeated.
///
/// Each reply consists of tokens that no other reply uses: its text is cut into pieces of a few
/// bytes. A reply is recognised in a prompt by its whole text without surrounding white space, so
/// that text must not occur elsewhere in the prompt. Any other byte of a prompt is one token.
struct TestModel
{
    struct Reply
    {
        /// The reply's text. Cut automatically unless pieces are given.
        QByteArray text;
        /// Each piece is one token; an empty piece is a control token without a text. If there are
        /// pieces, the text is ignored. A single printable ASCII character cannot be a piece.
        QList<QByteArray> pieces = {};
        /// If false, the reply does not end the generation but starts again.
        bool ends = true;
    };

    QList<Reply> replies;
    /// The Jinja template; nothing for a file without one.
    std::optional<QByteArray> chatTemplate = chatMl();
    /// Whether each prompt begins with the vocabulary's start token.
    bool addsStartToken = false;
    /// The length of the pieces of texts; some are longer so that all differ.
    int bytesPerPiece = 6;
    /// The bytes of prompts; the tokenizer drops all others. With few of them, the file has a few
    /// kilobytes. Empty: every byte.
    QByteArray alphabet = {};
    /// Changes keys of the file before it is written, for broken files.
    std::function<void(gguf_context *)> adjust = {};

    /// The usual template of the ChatML format.
    [[nodiscard]] static QByteArray chatMl();
    /// Another known template, with a header before each message.
    [[nodiscard]] static QByteArray withHeaders();
    /// A template that no engine knows.
    [[nodiscard]] static QByteArray unknownTemplate();
    /// A model that gives these replies.
    [[nodiscard]] static TestModel saying(const QList<QByteArray> &texts);

    /// Writes the file. Throws std::invalid_argument if the replies cannot be made, and
    /// std::runtime_error if the file cannot be written.
    void write(const QString &path) const;
};
