#pragma once

#include <QString>

#include <exception>
#include <utility>

/// A failed action, described in one sentence for the user and the model.
class ActionError : public std::exception
{
public:
    explicit ActionError(const QString &sentence) : message(sentence), m_utf8(sentence.toUtf8()) {}

    [[nodiscard]] const char *what() const noexcept override { return m_utf8.constData(); }

    QString message;

private:
    QByteArray m_utf8;
};
