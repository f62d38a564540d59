#include "tests/support/FakePlatform.h"

#include "base/Futures.h"
#include "platform/PlatformError.h"

#include <QFileInfo>

#include <algorithm>
#include <fstream>

namespace {
// With the sentence of a failure, if there is one.
void end(QPromise<void> &promise, const std::optional<QString> &failure)
{
    if (failure)
        promise.setException(PlatformError(*failure));
    promise.finish();
}

QFuture<void> overWith(const std::optional<QString> &failure)
{
    return failure ? Futures::failed(PlatformError(*failure)) : Futures::done();
}

class FakeTree final : public AccessibleTree
{
public:
    explicit FakeTree(FakeAccessibility &accessibility) : m_fake(accessibility) {}

    QList<ElementId> roots() override
    {
        return m_fake.hasRoot ? QList{ElementId{0}} : QList<ElementId>();
    }

    QList<AccessibleNode> nodes(const QList<ElementId> &elements, qsizetype maxChildren) override
    {
        QList<AccessibleNode> nodes;
        for (const ElementId element : elements) {
            if (m_fake.silentAfter && m_fake.nodesRead == *m_fake.silentAfter)
                throw UnresponsiveApplication();
            AccessibleNode node;
            if (!isTimeUp()) {
                ++m_fake.nodesRead;
                node.role = control(element).role;
                for (const qsizetype child : control(element).children) {
                    if (maxChildren-- <= 0)
                        break;
                    ++m_fake.childrenRead;
                    node.children.append(ElementId{static_cast<qint32>(child)});
                }
            }
            nodes.append(node);
        }
        return nodes;
    }

    QList<QStringList> texts(const QList<ElementId> &elements,
                             const QList<LabelAttribute> &attributes) override
    {
        QList<QStringList> texts;
        for (const ElementId element : elements) {
            QStringList &own = texts.emplace_back();
            for (const LabelAttribute attribute : attributes) {
                ++m_fake.textsRead;
                own.append(text(control(element), attribute));
            }
        }
        return texts;
    }

    QList<Visibility> visibilities(const QList<ElementId> &elements) override
    {
        QList<Visibility> visibilities;
        for (const ElementId element : elements)
            visibilities.append(control(element).visibility);
        return visibilities;
    }

    bool isTimeUp() const override
    {
        return m_fake.timeUpAfter && m_fake.nodesRead >= *m_fake.timeUpAfter;
    }

    bool press(ElementId element) override
    {
        m_fake.pressed.append(static_cast<qsizetype>(element));
        return !control(element).refusesPress;
    }

private:
    [[nodiscard]] const FakeControl &control(ElementId element) const
    {
        return m_fake.all.at(static_cast<qsizetype>(element));
    }

    static QString text(const FakeControl &control, LabelAttribute attribute)
    {
        switch (attribute) {
        case LabelAttribute::title:
            return control.title;
        case LabelAttribute::description:
            return control.description;
        case LabelAttribute::value:
            return control.value;
        case LabelAttribute::help:
            return control.help;
        }
        return {};
    }

    FakeAccessibility &m_fake;
};
} // namespace

qsizetype FakeAccessibility::add(qsizetype parent, const FakeControl &control)
{
    all[parent].children.append(all.size());
    all.append(control);
    return all.size() - 1;
}

std::unique_ptr<AccessibleTree> FakeAccessibility::open(ProcessId application,
                                                        std::chrono::milliseconds)
{
    if (failure)
        throw PlatformError(*failure);
    opened.append(application);
    return std::make_unique<FakeTree>(*this);
}

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

std::optional<Application> FakeWorkspace::frontmostApplication()
{
    if (silence)
        throw PlatformError(*silence);
    const std::optional<Application> seen = front;
    if (afterEachLook)
        afterEachLook();
    return seen;
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
    if (refusesFocus)
        return;
    focused = application;
    const auto known = std::ranges::find(running, application, &Application::pid);
    if (known != running.end())
        front = *known;
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
        end(promise, failure);
    m_held.clear();
}

QFuture<void> FakeWorkspace::request()
{
    if (!holdsRequests)
        return overWith(failure);
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
        return overWith(m_keyboard.failure);
    }

    QFuture<void> finish() override
    {
        ++m_keyboard.finishedSources;
        return overWith(m_keyboard.failure);
    }

private:
    FakeKeyboard &m_keyboard;
};
} // namespace

std::unique_ptr<KeyboardSource> FakeKeyboard::open(const QString &text, ProcessId receiver)
{
    announced.append(text);
    receivers.append(receiver);
    return std::make_unique<FakeSource>(*this);
}

QFuture<void> FakeScreen::capture(const std::filesystem::path &file)
{
    captured.append(file);
    if (!holdsCaptures) {
        write(file);
        return overWith(failure);
    }
    m_held.emplace().start();
    return m_held->future();
}

void FakeScreen::finishCapture()
{
    write(captured.constLast());
    end(*m_held, failure);
    m_held.reset();
}

void FakeScreen::write(const std::filesystem::path &file) const
{
    if (permitsCapture && !failure)
        std::ofstream(file) << "picture";
}
