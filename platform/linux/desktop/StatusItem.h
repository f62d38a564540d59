#pragma once

#include "platform/Shell.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>
#include <QObject>
#include <QString>

#include <functional>

class QDBusArgument;
class QDBusServiceWatcher;

/// A picture as the interface has it: its size, and its pixels as bytes in the order alpha, red,
/// green, blue.
struct StatusPixmap
{
    int width = 0;
    int height = 0;
    QByteArray bytes;
};
using StatusPixmaps = QList<StatusPixmap>;
Q_DECLARE_METATYPE(StatusPixmap)
Q_DECLARE_METATYPE(StatusPixmaps)

QDBusArgument &operator<<(QDBusArgument &argument, const StatusPixmap &pixmap);
const QDBusArgument &operator>>(const QDBusArgument &argument, StatusPixmap &pixmap);

/// The program's status icon, by org.kde.StatusNotifierItem. On a desktop without a panel for such
/// icons, it is shown once one starts. Main thread; does not block.
class StatusItem final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierItem")
    Q_PROPERTY(QString Category READ category CONSTANT)
    Q_PROPERTY(QString Id READ id CONSTANT)
    Q_PROPERTY(QString Title READ title CONSTANT)
    Q_PROPERTY(QString Status READ status CONSTANT)
    Q_PROPERTY(QString IconName READ iconName CONSTANT)
    Q_PROPERTY(StatusPixmaps IconPixmap READ iconPixmap CONSTANT)
    Q_PROPERTY(bool ItemIsMenu READ isMenu CONSTANT)

public:
    /// Panels show `icon`, whether or not the program is installed.
    StatusItem(const QList<Shell::Picture> &icon, std::function<void()> chosen);
    ~StatusItem() override;

    [[nodiscard]] static QString category();
    [[nodiscard]] static QString id();
    [[nodiscard]] static QString title();
    [[nodiscard]] static QString status();
    [[nodiscard]] static QString iconName();
    [[nodiscard]] const StatusPixmaps &iconPixmap() const { return m_icon; }
    /// False, so that a click on the icon calls Activate().
    [[nodiscard]] static bool isMenu() { return false; }

public Q_SLOTS:
    // The methods of the interface, with the position of the click.
    Q_SCRIPTABLE void Activate(int x, int y);
    Q_SCRIPTABLE void SecondaryActivate(int x, int y);
    Q_SCRIPTABLE void ContextMenu(int x, int y);
    Q_SCRIPTABLE void Scroll(int delta, const QString &orientation);

private:
    void announce() const;

    StatusPixmaps m_icon;
    const std::function<void()> m_chosen;
    const QString m_service; ///< The item's own name on the bus.
    QDBusServiceWatcher *m_panels = nullptr;
};

/// Our single desktop notification, by org.freedesktop.Notifications. Does nothing on a desktop
/// without notifications. Main thread; does not block.
class DesktopNotice final : public QObject
{
    Q_OBJECT

public:
    enum class Duration {
        usual, ///< As the desktop decides.
        untilWithdrawn,
    };

    /// Shows the text instead of the last one, and calls `chosen` if the user activates it.
    void show(const QString &text, Duration duration, std::function<void()> chosen);
    void withdraw();

private Q_SLOTS:
    void takeAction(uint id, const QString &action);
    void takeEnd(uint id);

private:
    void listen();
    void close(uint id);

    std::function<void()> m_chosen;
    uint m_id = 0; ///< The desktop's id; 0 if none is shown or the id is unknown yet.
    int m_request =
        0; ///< Incremented with each text, to close an earlier one whose id arrives late.
    bool m_listens = false;
};
