#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>

/// What the panel says about its hot key: its name, and, if another program owns it, one line with
/// a way to have another key. Main thread.
class KeyOffer : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS

    /// The hot key as this desktop writes it, and what it does.
    Q_PROPERTY(QString help READ help NOTIFY changed)
    /// The line; empty if there is nothing to say.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    /// What the button beside it says; empty if there is nothing to do.
    Q_PROPERTY(QString action READ action NOTIFY changed)

public:
    explicit KeyOffer(QObject *parent = nullptr);

    [[nodiscard]] QString help() const;
    [[nodiscard]] const QString &text() const { return m_text; }
    [[nodiscard]] QString action() const;

    /// The user agrees: the other key is bound, or the command for it is copied.
    Q_INVOKABLE void accept();
    /// The user has read it. It is not said again by this process.
    Q_INVOKABLE void dismiss();

Q_SIGNALS:
    void changed();

private:
    enum class Step { nothing, bind, copy };

    /// After the hot key was registered, or not.
    void examine();
    void say(const QString &text, Step next);

    QString m_text;
    Step m_next = Step::nothing; ///< What accept() does.
};
