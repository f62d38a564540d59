#include "app/KeyOffer.h"

#include "app/HotKey.h"
#include "platform/GlobalHotKey.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"

#include <QClipboard>
#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace {
GlobalHotKey &key()
{
    return Platform::current().hotKey();
}
} // namespace

KeyOffer::KeyOffer(QObject *parent) : QObject(parent)
{
    connect(&HotKey::shared(), &HotKey::keyRegistered, this, &KeyOffer::examine);
}

QString KeyOffer::help() const
{
    const QString shows = u"%1 shows and hides Quillon"_s;
    if (key().isOurs())
        return shows.arg(key().name());
    return key().isAlternativeBound() ? shows.arg(key().alternative())
                                      : u"%1 belongs to another program"_s.arg(key().name());
}

QString KeyOffer::action() const
{
    switch (m_next) {
    case Step::nothing:
        return {};
    case Step::bind:
        return u"Use %1"_s.arg(key().alternative());
    case Step::copy:
        return u"Copy Command"_s;
    }
    Q_UNREACHABLE();
}

void KeyOffer::examine()
{
    if (key().isOurs() || key().isAlternativeBound())
        return say({}, Step::nothing);
    const QString taken = u"%1 belongs to another program."_s.arg(key().name());
    if (!key().alternative().isEmpty())
        return say(taken, Step::bind);
    if (!key().command().isEmpty())
        return say(taken + u" Bind a key to “%1”."_s.arg(key().command()), Step::copy);
    say(taken, Step::nothing);
}

void KeyOffer::accept()
{
    if (m_next == Step::copy) {
        QGuiApplication::clipboard()->setText(key().command());
        say(u"Copied: paste it into the desktop's settings for keys."_s, Step::nothing);
    } else if (m_next == Step::bind) {
        try {
            key().bindAlternative();
            say(help() + u" from now on."_s, Step::nothing);
        } catch (const PlatformError &error) {
            say(QString::fromUtf8(error.what()) + u" Bind a key to “%1”."_s.arg(key().command()),
                Step::copy);
        }
    }
}

void KeyOffer::dismiss()
{
    say({}, Step::nothing);
}

void KeyOffer::say(const QString &text, Step next)
{
    m_text = text;
    m_next = next;
    Q_EMIT changed();
}
