#pragma once

#include <QByteArray>
#include <QException>
#include <QString>

/// A failure that the operating system reports, in its own words. what() is one sentence for the
/// user in UTF-8. Can be stored in a QFuture.
class PlatformError final : public QException
{
public:
    explicit PlatformError(const QString &sentence) : m_utf8(sentence.toUtf8()) {}

    [[nodiscard]] const char *what() const noexcept override { return m_utf8.constData(); }

    void raise() const override { throw *this; }
    [[nodiscard]] PlatformError *clone() const override { return new PlatformError(*this); }

private:
    QByteArray m_utf8;
};
