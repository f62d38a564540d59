#pragma once

#include "app/KeyOffer.h"

#include <QColor>
#include <QObject>
#include <QtQml/qqmlregistration.h>

class NativeWindow;

/// The desktop's properties for the views, and the operations of their window. Main thread.
class Panel : public QObject
{
    Q_OBJECT
    QML_ANONYMOUS

    /// Whether the program may operate the computer. Read on every summon and activation.
    Q_PROPERTY(bool trusted READ isTrusted NOTIFY trustedChanged)
    /// Whether translucent pixels show what is behind the window.
    Q_PROPERTY(bool composited READ isComposited NOTIFY compositedChanged)
    /// Whether what is behind the window is blurred.
    Q_PROPERTY(bool blursBehind READ blursBehind NOTIFY compositedChanged)
    Q_PROPERTY(bool darkMode READ isDark NOTIFY lookChanged)
    Q_PROPERTY(bool reducedMotion READ hasReducedMotion NOTIFY lookChanged)
    /// Whether the window has to draw its own shadow.
    Q_PROPERTY(bool wantsDrawnShadow READ wantsDrawnShadow NOTIFY compositedChanged)
    /// The width of the transparent margin of the window, in which its shadow is drawn.
    Q_PROPERTY(int margin READ margin WRITE setMargin NOTIFY marginChanged)
    Q_PROPERTY(KeyOffer *keyOffer READ keyOffer CONSTANT)
    /// Invalid if the system has none.
    Q_PROPERTY(QColor accentColor READ accentColor NOTIFY lookChanged)

public:
    explicit Panel(QObject *parent = nullptr);
    ~Panel() override;

    /// The window of the views; must outlive the panel or be replaced by null.
    void setWindow(NativeWindow *window);

    [[nodiscard]] KeyOffer *keyOffer() { return &m_keyOffer; }
    [[nodiscard]] bool isTrusted() const { return m_isTrusted; }
    [[nodiscard]] bool isComposited() const;
    [[nodiscard]] bool blursBehind() const;
    [[nodiscard]] bool wantsDrawnShadow() const;
    [[nodiscard]] int margin() const { return m_margin; }
    void setMargin(int margin);
    [[nodiscard]] bool isDark() const;
    [[nodiscard]] bool hasReducedMotion() const;
    [[nodiscard]] QColor accentColor() const;

    /// Requests the permission to operate the computer.
    Q_INVOKABLE void requestTrust();
    /// Hides the application, as the hot key does.
    Q_INVOKABLE void hide();
    /// Closes the window; the application continues to run.
    Q_INVOKABLE void close();
    Q_INVOKABLE void minimise();

    /// Has a screen reader say the text of an element, which has that number in the toolkit.
    void announce(const QString &text, quint32 element);

Q_SIGNALS:
    /// The panel was summoned; the command field takes the focus.
    void summonPalette();
    void trustedChanged();
    void compositedChanged();
    void marginChanged();
    void lookChanged();

private:
    void applyMargin();
    void readTrust();

    NativeWindow *m_window = nullptr;
    KeyOffer m_keyOffer;
    int m_margin = 0;
    bool m_isTrusted;
};
