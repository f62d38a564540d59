#pragma once

#include "platform/linux/x11/X11Desktop.h"
#include "tests/support/Waiting.h"

#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QTest>

using Qt::StringLiterals::operator""_s;

/// Input with the keyboard and the mouse, the keyboard map, and the geometry of windows, by the
/// programs that users have for that.
namespace Hands {
inline QByteArray xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(u"xdotool"_s, arguments);
    if (!process.waitForFinished(eventually) || process.error() == QProcess::FailedToStart)
        qFatal("xdotool does not work.");
    return process.readAllStandardOutput();
}

/// The output of a program that must succeed.
inline QByteArray output(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(eventually) || process.exitCode() != 0)
        qFatal("%s failed.", qPrintable(program));
    return process.readAllStandardOutput();
}

/// The X server's keyboard map.
inline QByteArray keyboardMap()
{
    return output(u"xkbcomp"_s, {qEnvironmentVariable("DISPLAY"), u"-"_s});
}

inline void type(const QString &text)
{
    (void)xdotool({u"type"_s, u"--delay"_s, u"10"_s, text});
}

inline void press(const QString &keys)
{
    (void)xdotool({u"key"_s, keys});
}

inline void moveMouse(QPoint place)
{
    (void)xdotool({u"mousemove"_s, QString::number(place.x()), QString::number(place.y())});
}

inline void click(QPoint place)
{
    moveMouse(place);
    (void)xdotool({u"click"_s, u"1"_s});
}

/// As slowly as a user.
inline void drag(QPoint from, QPoint to)
{
    moveMouse(from);
    (void)xdotool({u"mousedown"_s, u"1"_s});
    for (int step = 1; step <= 10; ++step) {
        moveMouse(from + (to - from) * step / 10);
        QTest::qWait(30);
    }
    (void)xdotool({u"mouseup"_s, u"1"_s});
}

/// The window id for xdotool.
inline QString number(const X11Window &window)
{
    return QString::number(static_cast<quint32>(window.id));
}

/// The window's geometry on the screen.
inline QRect geometry(const X11Window &window)
{
    const QString text =
        QString::fromUtf8(xdotool({u"getwindowgeometry"_s, u"--shell"_s, number(window)}));
    const auto value = [&](const QString &name) {
        const QRegularExpression line(name + u"=(-?\\d+)"_s);
        return line.match(text).captured(1).toInt();
    };
    return {value(u"X"_s), value(u"Y"_s), value(u"WIDTH"_s), value(u"HEIGHT"_s)};
}
} // namespace Hands
