#pragma once

#include "platform/Appearance.h"
#include "platform/GlobalHotKey.h"
#include "platform/Instance.h"
#include "platform/NativeWindow.h"
#include "platform/PlatformError.h"
#include "platform/Shell.h"

#include <QMap>
#include <QStringList>

#include <algorithm>
#include <optional>

using Qt::StringLiterals::operator""_s;

/// An appearance with the given settings.
class FakeAppearance final : public Appearance
{
public:
    Look look() override { return current; }
    void observe(std::function<void()> changed) override { m_changed = std::move(changed); }
    QByteArray symbol(const QString &name, int side) override
    {
        QByteArray coverage;
        if (ownSymbols.contains(name)) {
            for (int pixel = 0; pixel < side * side; ++pixel)
                coverage.append(pixel % side < side / 2 ? '\xff' : '\x00');
        }
        return coverage;
    }

    void change(const Look &look)
    {
        current = look;
        if (m_changed)
            m_changed();
    }

    Look current;
    QStringList ownSymbols; ///< Further symbols: each covers the left half of its square.

private:
    std::function<void()> m_changed;
};

/// A hot key that is pressed by calling press().
class FakeHotKey final : public GlobalHotKey
{
public:
    /// Records registerKey() in the list.
    explicit FakeHotKey(QStringList &calls) : m_calls(calls) {}

    void registerKey(std::function<void()> pressed) override
    {
        m_calls << u"register"_s;
        press = std::move(pressed);
    }
    [[nodiscard]] QString name() const override { return u"Option+Space"_s; }
    [[nodiscard]] bool isOurs() const override { return !isTaken; }
    [[nodiscard]] QString alternative() override { return otherKey; }
    [[nodiscard]] bool isAlternativeBound() override { return isOtherBound; }
    void bindAlternative() override
    {
        if (failure)
            throw PlatformError(*failure);
        isOtherBound = true;
    }
    [[nodiscard]] QString command() override { return toggleCommand; }

    std::function<void()> press;
    bool isTaken = false;  ///< Another program owns the key.
    QString otherKey;      ///< The key that the desktop can bind instead, if any.
    QString toggleCommand; ///< What the user can bind by hand, if anything.
    bool isOtherBound = false;
    std::optional<QString> failure; ///< If set, binding fails with this sentence.

private:
    QStringList &m_calls;
};

/// A desktop with other instances or none.
class FakeInstance final : public Instance
{
public:
    bool claim(std::function<void(Request)> received) override
    {
        ++claims;
        if (answers.isEmpty())
            request = std::move(received);
        return answers.isEmpty();
    }
    Answer handOver(Request asked) override
    {
        requests.append(asked);
        return answers.takeFirst();
    }
    [[nodiscard]] LoginItem loginItem(const QString &program,
                                      const QString &argument) const override
    {
        return {loginFile, (program + u' ' + argument).toUtf8()};
    }

    QString loginFile; ///< The path of the login item.

    /// The answers of running instances, one after the other; empty if there is none.
    QList<Answer> answers;
    QList<Request> requests; ///< The requests to them.
    int claims = 0;
    std::function<void(Request)> request; ///< Called for requests of later starts.
};

/// A window in memory.
class FakeNativeWindow final : public NativeWindow
{
public:
    explicit FakeNativeWindow(QString windowName) : name(std::move(windowName)) {}

    [[nodiscard]] quintptr handle() const override { return reinterpret_cast<quintptr>(this); }
    [[nodiscard]] bool isShown() const override { return isOnScreen; }
    [[nodiscard]] bool hasFocus() const override { return isFocused; }
    [[nodiscard]] bool canBecomeMain() const override { return mayBecomeMain; }
    void show() override { isOnScreen = true; }
    void hide() override { isOnScreen = isFocused = false; }
    void minimise() override { isOnScreen = isFocused = false; }
    void close() override { isOnScreen = isFocused = false; }
    [[nodiscard]] QSize size() const override { return {720, 620}; }
    [[nodiscard]] QSize minimumSize() const override { return {640, 460}; }
    [[nodiscard]] QRect screen() const override { return {0, 0, 1920, 1080}; }
    [[nodiscard]] QRect screenArea() const override { return screen(); }
    [[nodiscard]] double scale() const override { return 1; }
    void moveTo(QPoint to) override { corner = to; }
    void resize(QSize) override {}
    [[nodiscard]] int margin() const override { return ownMargin; }
    void setMargin(int margin) override { ownMargin = margin; }

    QString name;
    int ownMargin = 0;
    bool isOnScreen = false;
    bool isFocused = false;
    bool mayBecomeMain = true;
    QPoint corner{-1, -1};
};

/// A desktop that fulfils each request at once and records it, oldest first.
class FakeShell final : public Shell,
                        private Dock,
                        private MenuBar,
                        private Notifier,
                        private Compositor
{
public:
    Dock *dock() override { return this; }
    MenuBar *menuBar() override { return this; }
    Notifier *notifier() override { return hasNotifier ? this : nullptr; }
    Compositor *compositor() override { return this; }

    bool hasDisplay() override { return displays > 0; }
    ToolkitSettings toolkitSettings() override { return {.paintsInSoftware = true}; }
    bool isActive() override { return isInFront; }
    void activate() override
    {
        calls << u"activate"_s;
        isInFront = true;
    }
    void hide() override
    {
        calls << u"hide"_s;
        isInFront = false;
        if (window())
            window()->hide();
    }

    void announce(const QString &text, quint32 element) override
    {
        calls << u"announce "_s + text;
        announced = element;
    }

    Qt::WindowFlags windowFlags() const override { return Qt::Window; }
    bool isVisible(NativeWindow &window) override { return window.isShown(); }
    bool isKey(NativeWindow &window) override { return window.hasFocus(); }
    void makeKeyAndOrderFront(NativeWindow &window) override
    {
        calls << u"front "_s + fake(window).name;
        window.show();
        fake(window).isFocused = true;
    }
    void center(NativeWindow &window) override { calls << u"center "_s + fake(window).name; }
    void style(NativeWindow &window) override { calls << u"style "_s + fake(window).name; }
    void placeMaterialBehind(NativeWindow &window, Material material) override
    {
        calls << u"material %1 under %2"_s.arg(static_cast<long>(material)).arg(fake(window).name);
    }

    void keepAbove(NativeWindow &window, bool isAbove) override
    {
        calls << (isAbove ? u"above "_s : u"not above "_s) + fake(window).name;
    }
    void requestAttention(NativeWindow &window, Urgency urgency) override
    {
        calls << u"attention "_s + fake(window).name + (isQuestion(urgency) ? u" now"_s : u""_s);
    }
    void changeComposition(bool composited, bool blurred, bool withoutShadow = false)
    {
        hasCompositor = composited;
        blurs = blurred;
        hasNoShadow = withoutShadow;
        if (m_compositionChanged)
            m_compositionChanged();
    }

    QStringList calls;
    int displays = 1;
    bool isInFront = false;
    bool hasNotifier = true;
    bool hasCompositor = false;
    bool blurs = false;
    bool hasNoShadow = false;                  ///< Windows have to draw their own shadows.
    std::function<void(bool)> reopen;          ///< Clicks the icon in the Dock.
    quint32 announced = 0;                     ///< The last element.
    std::function<void()> clickStatusItem;     ///< Set while there is one.
    std::function<void()> chooseNotification;  ///< What a click on the last one does.
    QMap<QString, std::function<void()>> menu; ///< The actions of the items by title.

private:
    void setRegularPolicy() override { calls << u"regular"_s; }
    void observeReopening(std::function<void(bool)> reopened) override
    {
        reopen = std::move(reopened);
    }
    void addItem(const QString &title, QChar key, std::function<void()> chosen) override
    {
        calls << u"menu item "_s + title + u' ' + key;
        menu.insert(title, chosen);
    }
    void notify(const QString &text, Urgency urgency, std::function<void()> chosen) override
    {
        calls << (isQuestion(urgency) ? u"ask "_s : u"tell "_s) + text;
        chooseNotification = std::move(chosen);
    }
    void withdraw() override { calls << u"withdraw"_s; }
    void showStatusItem(std::function<void()> chosen) override
    {
        clickStatusItem = std::move(chosen);
    }

    bool isComposited() override { return hasCompositor; }
    bool blursBehind() override { return blurs; }
    bool wantsDrawnShadow() override { return hasNoShadow; }
    void applyMargin(NativeWindow &window) override
    {
        calls << u"margin %1 of %2"_s.arg(window.margin()).arg(fake(window).name);
    }
    void observe(std::function<void()> changed) override
    {
        m_compositionChanged = std::move(changed);
    }

    static bool isQuestion(Urgency urgency) { return urgency == Urgency::question; }
    static FakeNativeWindow &fake(NativeWindow &window)
    {
        return static_cast<FakeNativeWindow &>(window);
    }

    std::function<void()> m_compositionChanged;
};
