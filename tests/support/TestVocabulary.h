#pragma once

#include "tests/support/TestModel.h"

#include <cstdint>
#include <string>
#include <vector>

/// The tokens of a test model, and the tokens of each reply.
class TestVocabulary
{
public:
    enum class Kind : std::int32_t { normal = 1, control = 3, userDefined = 4 };

    struct Token
    {
        std::string text;
        Kind kind;
    };

    struct Script
    {
        /// The reply's own tokens in their order.
        std::vector<std::size_t> tokens;
        /// The token that represents the whole reply in a prompt.
        std::optional<std::size_t> marker;
        bool ends = true;
    };

    /// Throws std::invalid_argument if the replies cannot be told apart or cut into private tokens.
    explicit TestVocabulary(const TestModel &model);

    [[nodiscard]] const std::vector<Token> &tokens() const { return m_tokens; }
    [[nodiscard]] const std::vector<Script> &scripts() const { return m_scripts; }
    [[nodiscard]] std::size_t startToken() const { return m_start; }
    [[nodiscard]] std::size_t endToken() const { return m_end; }

private:
    std::size_t add(std::string text, Kind kind);
    [[nodiscard]] bool isTaken(const std::string &text) const;
    [[nodiscard]] bool mayBePiece(const std::string &text) const;
    [[nodiscard]] std::vector<std::string> cut(const std::string &text, std::size_t bytes) const;
    void addMarkers(const QList<TestModel::Reply> &replies);
    void addPieces(const TestModel::Reply &reply, Script &script, int bytesPerPiece);

    std::vector<Token> m_tokens;
    std::vector<Script> m_scripts;
    std::size_t m_start = 0;
    std::size_t m_end = 0;
    int m_silent = 0;
};
