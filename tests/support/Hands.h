#pragma once

#include "platform/linux/X11Desktop.h"

#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QTest>

/// What somebody does at the keyboard and with the mouse, and looks at while doing so: by xdotool,
/// a program of its own.
namespace Hands {
inline QByteArray xdotool(const QStringList &arguments)
{
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    if (!process.waitForFinished(20'000) || process.error() == QProcess::FailedToStart)
        qFatal("xdotool does not work.");
    return process.readAllStandardOutput();
}

inline void type(const QString &text)
{
    (void)xdotool({QStringLiteral("type"), QStringLiteral("--delay"), QStringLiteral("10"), text});
}

inline void press(const QString &keys)
{
    (void)xdotool({QStringLiteral("key"), keys});
}

inline void moveMouse(QPoint place)
{
    (void)xdotool(
        {QStringLiteral("mousemove"), QString::number(place.x()), QString::number(place.y())});
}

inline void click(QPoint place)
{
    moveMouse(place);
    (void)xdotool({QStringLiteral("click"), QStringLiteral("1")});
}

/// Slowly, as a hand does it.
inline void drag(QPoint from, QPoint to)
{
    moveMouse(from);
    (void)xdotool({QStringLiteral("mousedown"), QStringLiteral("1")});
    for (int step = 1; step <= 10; ++step) {
        moveMouse(from + (to - from) * step / 10);
        QTest::qWait(30);
    }
    (void)xdotool({QStringLiteral("mouseup"), QStringLiteral("1")});
}

/// As xdotool knows it.
inline QString number(const X11Window &window)
{
    return QString::number(static_cast<quint32>(window.id));
}

/// Where it is on the screen.
inline QRect geometry(const X11Window &window)
{
    const QString text = QString::fromUtf8(
        xdotool({QStringLiteral("getwindowgeometry"), QStringLiteral("--shell"), number(window)}));
    const auto value = [&](const QString &name) {
        const QRegularExpression line(name + QStringLiteral("=(-?\\d+)"));
        return line.match(text).captured(1).toInt();
    };
    return {value(QStringLiteral("X")), value(QStringLiteral("Y")), value(QStringLiteral("WIDTH")),
            value(QStringLiteral("HEIGHT"))};
}
} // namespace Hands
