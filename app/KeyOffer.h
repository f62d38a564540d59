#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// The panel's texts about its hot key: its name and, if another program owns it, a line that
/// offers another key. Main thread.
class KeyOffer : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS

    /// The hot key in this desktop's notation, and what it does.
    Q_PROPERTY(QString help READ help NOTIFY changed)
    /// The line; empty if there is none.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    /// The text of the button beside it; empty if there is none.
    Q_PROPERTY(QString action READ action NOTIFY changed)

public:
    explicit KeyOffer(QObject *parent = nullptr);

    [[nodiscard]] QString help() const;
    [[nodiscard]] const QString &text() const { return m_text; }
    [[nodiscard]] QString action() const;

    /// The user accepts the offer: binds the other key, or copies the command for it.
    Q_INVOKABLE void accept();
    /// The user dismisses the line. This process does not show it again.
    Q_INVOKABLE void dismiss();

Q_SIGNALS:
    void changed();

private:
    enum class Step { nothing, bind, copy };

    /// Called after registering the hot key has succeeded or failed.
    void examine();
    void say(const QString &text, Step next);

    QString m_text;
    Step m_next = Step::nothing; ///< What accept() does.
};
