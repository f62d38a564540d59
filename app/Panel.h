#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class NativeWindow;

/// What the views need to know of the desktop, and what they ask of their window. Main thread.
class Panel : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS

    /// Whether the user lets us operate the computer. Looked up on every summon and activation.
    Q_PROPERTY(bool trusted READ isTrusted NOTIFY trustedChanged)
    /// Whether translucent pixels show what is behind the window.
    Q_PROPERTY(bool composited READ isComposited NOTIFY compositedChanged)
    /// And show it blurred.
    Q_PROPERTY(bool blursBehind READ blursBehind NOTIFY compositedChanged)
    Q_PROPERTY(bool darkMode READ isDark NOTIFY lookChanged)
    Q_PROPERTY(bool reducedMotion READ hasReducedMotion NOTIFY lookChanged)
    /// Invalid where the system has none.
    Q_PROPERTY(QColor accentColor READ accentColor NOTIFY lookChanged)

public:
    explicit Panel(QObject *parent = nullptr);
    ~Panel() override;

    /// The window that the views are in. It must outlive its place here.
    void setWindow(NativeWindow *window) { m_window = window; }

    [[nodiscard]] bool isTrusted() const { return m_isTrusted; }
    [[nodiscard]] bool isComposited() const;
    [[nodiscard]] bool blursBehind() const;
    [[nodiscard]] bool isDark() const;
    [[nodiscard]] bool hasReducedMotion() const;
    [[nodiscard]] QColor accentColor() const;

    /// Asks the system for the permission to operate the computer.
    Q_INVOKABLE void requestTrust();
    /// Hides the application, as the hot key does.
    Q_INVOKABLE void hide();
    /// Closes the window; the application runs on.
    Q_INVOKABLE void close();
    Q_INVOKABLE void minimise();

Q_SIGNALS:
    /// The panel was summoned: the command field wants the focus.
    void summonPalette();
    void trustedChanged();
    void compositedChanged();
    void lookChanged();

private:
    void readTrust();

    NativeWindow *m_window = nullptr;
    bool m_isTrusted;
};
