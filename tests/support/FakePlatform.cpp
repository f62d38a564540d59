#include "tests/support/FakePlatform.h"

#include "platform/Outcome.h"

#include <QFileInfo>

#include <algorithm>
#include <fstream>

QList<InstalledApplication> FakeWorkspace::applicationsIn(const QString &folder)
{
    return installed.value(folder);
}

QString FakeWorkspace::displayName(const QString &location)
{
    for (const QList<InstalledApplication> &applications : std::as_const(installed)) {
        for (const InstalledApplication &application : applications) {
            if (application.location == location)
                return application.names.value(0);
        }
    }
    return QFileInfo(location).completeBaseName();
}

std::optional<QString> FakeWorkspace::counterpart(const QString &name)
{
    const auto found = counterparts.constFind(name);
    return found == counterparts.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<ProcessId> FakeWorkspace::focusedProcess()
{
    if (focused)
        return focused;
    return front ? std::optional(front->pid) : std::nullopt;
}

void FakeWorkspace::activate(ProcessId application)
{
    activated.append(application);
    if (!refusesFocus)
        focused = application;
}

QFuture<void> FakeWorkspace::launch(const QString &location)
{
    launched.append(location);
    if (!failure)
        bringToFront(location);
    return request();
}

QFuture<void> FakeWorkspace::open(const QUrl &url)
{
    opened.append(url);
    return request();
}

QFuture<void> FakeWorkspace::open(const QUrl &url, const QString &location)
{
    openedWith.append({url, location});
    if (!failure)
        bringToFront(location);
    return request();
}

void FakeWorkspace::terminate(ProcessId application)
{
    terminated.append(application);
    if (!unsaved.contains(application))
        running.removeIf([&](const Application &each) { return each.pid == application; });
}

bool FakeWorkspace::hasTerminated(ProcessId application)
{
    return std::ranges::none_of(running,
                                [&](const Application &each) { return each.pid == application; });
}

void FakeWorkspace::reveal(const std::filesystem::path &item)
{
    revealed.append(item);
}

void FakeWorkspace::trash(const std::filesystem::path &item)
{
    if (failure)
        throw PlatformError(*failure);
    trashed.append(item);
}

void FakeWorkspace::finishRequests()
{
    holdsRequests = false;
    for (QPromise<void> &promise : m_held)
        settle(promise, failure);
    m_held.clear();
}

QFuture<void> FakeWorkspace::request()
{
    if (!holdsRequests)
        return settled(failure);
    m_held.emplace_back().start();
    return m_held.back().future();
}

void FakeWorkspace::bringToFront(const QString &location)
{
    focused.reset();
    const auto known = std::ranges::find(running, std::optional(location), &Application::location);
    if (known != running.end()) {
        front = *known;
        return;
    }
    front = Application{.pid = ProcessId{++m_lastPid},
                        .name = displayName(location),
                        .policy = ActivationPolicy::regular,
                        .location = location};
    running.append(*front);
}

namespace {
class FakeSource final : public KeyboardSource
{
public:
    explicit FakeSource(FakeKeyboard &keyboard) : m_keyboard(keyboard) { ++m_keyboard.openSources; }

    ~FakeSource() override { --m_keyboard.openSources; }

    QFuture<void> post(const KeyEvent &event) override
    {
        if (!m_keyboard.failure)
            m_keyboard.events.append(event);
        if (m_keyboard.afterEachEvent)
            m_keyboard.afterEachEvent();
        return settled(m_keyboard.failure);
    }

    QFuture<void> finish() override
    {
        ++m_keyboard.finishedSources;
        return settled(m_keyboard.failure);
    }

private:
    FakeKeyboard &m_keyboard;
};
} // namespace

std::unique_ptr<KeyboardSource> FakeKeyboard::open(const QString &text)
{
    announced.append(text);
    return std::make_unique<FakeSource>(*this);
}

QFuture<void> FakeScreen::capture(const std::filesystem::path &file)
{
    captured.append(file);
    if (!holdsCaptures) {
        write(file);
        return settled(failure);
    }
    m_held.emplace().start();
    return m_held->future();
}

void FakeScreen::finishCapture()
{
    write(captured.constLast());
    settle(*m_held, failure);
    m_held.reset();
}

void FakeScreen::write(const std::filesystem::path &file) const
{
    if (permitsCapture && !failure)
        std::ofstream(file) << "picture";
}
