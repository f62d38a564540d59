#include "tests/support/TestVocabulary.h"

#include <QChar>

#include <algorithm>
#include <stdexcept>

namespace {
// How byte-level vocabularies represent a byte: printable bytes by the character with that number,
// others by the characters from 256 on.
std::string byteText(int byte)
{
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> result;
        char16_t next = 256;
        for (int value = 0; value < 256; ++value) {
            const bool printable = (value >= 0x21 && value <= 0x7e) ||
                                   (value >= 0xa1 && value <= 0xac) || value >= 0xae;
            const QChar character = printable ? QChar(value) : QChar(next++);
            result.push_back(QString(character).toStdString());
        }
        return result;
    }();
    return texts[static_cast<std::size_t>(byte)];
}

std::string markerText(const TestModel::Reply &reply)
{
    return (reply.pieces.isEmpty() ? reply.text : reply.pieces.join()).trimmed().toStdString();
}

// The end of every prompt, with which no piece may overlap.
constexpr std::string_view promptEnd = "<|im_start|>assistant\n";
} // namespace

TestVocabulary::TestVocabulary(const TestModel &model)
{
    for (int byte = 0; byte < 256; ++byte) {
        if (model.alphabet.isEmpty() || model.alphabet.contains(char(byte)))
            add(byteText(byte), Kind::normal);
    }
    m_start = add("<|begin_of_text|>", Kind::control);
    add("<|im_start|>", Kind::control);
    m_end = add("<|im_end|>", Kind::control);

    addMarkers(model.replies);
    for (qsizetype i = 0; i < model.replies.size(); ++i) {
        addPieces(model.replies[i], m_scripts[static_cast<std::size_t>(i)], model.bytesPerPiece);
    }
}

std::size_t TestVocabulary::add(std::string text, Kind kind)
{
    if (isTaken(text))
        throw std::invalid_argument("two tokens have the text \"" + text + '"');
    m_tokens.push_back({std::move(text), kind});
    return m_tokens.size() - 1;
}

bool TestVocabulary::isTaken(const std::string &text) const
{
    return std::any_of(m_tokens.begin(), m_tokens.end(),
                       [&](const Token &token) { return token.text == text; });
}

bool TestVocabulary::mayBePiece(const std::string &text) const
{
    const bool endsPrompt =
        promptEnd.size() >= text.size() && promptEnd.substr(promptEnd.size() - text.size()) == text;
    return !endsPrompt && !isTaken(text);
}

// Greedy: each piece gets the given number of bytes, and more until it is unique; a rest that
// cannot be a piece is appended to the previous one.
std::vector<std::string> TestVocabulary::cut(const std::string &text, std::size_t bytes) const
{
    std::vector<std::string> pieces;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t length = std::min(bytes, text.size() - at);
        const auto usable = [&] {
            const std::string piece = text.substr(at, length);
            return mayBePiece(piece) &&
                   std::find(pieces.begin(), pieces.end(), piece) == pieces.end();
        };
        while (!usable() && at + length < text.size())
            ++length;
        while (!usable()) {
            if (pieces.empty())
                throw std::invalid_argument("cannot cut \"" + text + "\" into private tokens");
            at -= pieces.back().size();
            length += pieces.back().size();
            pieces.pop_back();
        }
        pieces.push_back(text.substr(at, length));
        at += length;
    }
    return pieces;
}

void TestVocabulary::addMarkers(const QList<TestModel::Reply> &replies)
{
    for (const TestModel::Reply &reply : replies) {
        Script script;
        script.ends = reply.ends;
        const std::string text = markerText(reply);
        if (!text.empty())
            script.marker = add(text, Kind::userDefined);
        else if (m_scripts.size() + 1 < static_cast<std::size_t>(replies.size()))
            throw std::invalid_argument("only the last reply may be blank");
        m_scripts.push_back(script);
    }
}

void TestVocabulary::addPieces(const TestModel::Reply &reply, Script &script, int bytesPerPiece)
{
    const std::string whole = script.marker ? m_tokens[*script.marker].text : std::string();
    const auto addPiece = [&](const std::string &piece) {
        if (piece.empty())
            return add("<|silent_" + std::to_string(m_silent++) + "|>", Kind::control);
        // A reply of a single piece is its own marker.
        return piece == whole ? *script.marker : add(piece, Kind::userDefined);
    };
    if (!reply.pieces.isEmpty()) {
        for (const QByteArray &piece : reply.pieces)
            script.tokens.push_back(addPiece(piece.toStdString()));
    } else if (reply.text.toStdString() == whole && reply.text.size() <= bytesPerPiece) {
        if (!whole.empty())
            script.tokens.push_back(*script.marker);
    } else {
        const auto bytes = static_cast<std::size_t>(bytesPerPiece);
        for (const std::string &piece : cut(reply.text.toStdString(), bytes))
            script.tokens.push_back(addPiece(piece));
    }
    if (!script.ends && script.tokens.empty())
        throw std::invalid_argument("a reply without an end needs a piece");
}
