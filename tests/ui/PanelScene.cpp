#include "tests/ui/PanelScene.h"

#include "tests/support/Waiting.h"

#include "app/HotKey.h"
#include "ui/Ui.h"

#include <QQmlComponent>
#include <QSignalSpy>
#include <QTest>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
void collect(QQuickItem *item, const QString &name, QList<QQuickItem *> &found)
{
    if (!item->isVisible())
        return;
    if (item->objectName() == name)
        found << item;
    for (QQuickItem *const child : item->childItems())
        collect(child, name, found);
}

QList<QQuickItem *> everything(const QQuickWindow &window)
{
    QList<QQuickItem *> items{window.contentItem()};
    for (qsizetype i = 0; i < items.size(); ++i)
        items += items[i]->childItems();
    return items;
}
} // namespace

void PanelScene::prepareEnvironment()
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    for (const char *name :
         {"http_proxy", "https_proxy", "all_proxy", "HTTP_PROXY", "HTTPS_PROXY", "ALL_PROXY"})
        qunsetenv(name);
}

PanelScene::PanelScene(Model model, Qt::WindowFlags flags, bool isTrusted) : ViewModels(model)
{
    setTrusted(isTrusted);
    panel.setWindow(&frame);
    Ui::install(qml);
    QQmlComponent component(&qml, Ui::views().rootFile);
    if (!component.isReady())
        qFatal("%s", qPrintable(component.errorString()));
    QObject *const root = component.createWithInitialProperties(
        {{u"session"_s, QVariant::fromValue(sessionView.get())},
         {u"models"_s, QVariant::fromValue(modelsView.get())},
         {u"panel"_s, QVariant::fromValue(&panel)}});
    if (root == nullptr)
        qFatal("%s", qPrintable(component.errorString()));
    window.reset(qobject_cast<QQuickWindow *>(root));
    window->setFlags(flags);
    window->show();
    window->requestActivate();
    if (!QTest::qWaitForWindowActive(window.get(), eventually))
        qFatal("The panel's window does not become active.");
    // The panel requests loading the model when it is shown.
    const bool answers =
        model == Model::missing ||
        QTest::qWaitFor([this] { return modelsView->state() != ModelsViewModel::Ready; },
                        eventually);
    if (!answers)
        qFatal("The panel does not load the model.");
}

PanelScene::~PanelScene() = default;

QList<QQuickItem *> PanelScene::all(const QString &name) const
{
    QList<QQuickItem *> found;
    collect(window->contentItem(), name, found);
    return found;
}

QQuickItem *PanelScene::itemAnywhere(const QString &name) const
{
    const QList<QQuickItem *> items = everything(*window);
    const auto found = std::ranges::find(items, name, &QQuickItem::objectName);
    return found != items.end() ? *found : nullptr;
}

QList<QQuickItem *> PanelScene::allTexts() const
{
    QList<QQuickItem *> found;
    for (QQuickItem *const item : everything(*window)) {
        if (item->property("textFormat").isValid())
            found << item;
    }
    return found;
}

QQuickItem *PanelScene::find(const QString &name, QQuickItem *parent) const
{
    QList<QQuickItem *> found;
    collect(parent != nullptr ? parent : window->contentItem(), name, found);
    return found.value(0);
}

QQuickItem &PanelScene::item(const QString &name) const
{
    QQuickItem *const found = find(name);
    if (found == nullptr)
        qFatal("There is no %s to be seen.", qPrintable(name));
    return *found;
}

QString PanelScene::text(const QString &name) const
{
    const QQuickItem *const found = find(name);
    return found != nullptr ? found->property("text").toString() : QString();
}

bool PanelScene::hasFocus(const QString &name) const
{
    const QQuickItem *const focused = window->activeFocusItem();
    return focused != nullptr && focused->objectName() == name;
}

void PanelScene::summon()
{
    Q_EMIT HotKey::shared().summonPalette();
}

void PanelScene::setTrusted(bool isTrusted)
{
    platform.fakeAccessibility.trusted = isTrusted;
    summon();
}

qsizetype PanelScene::hides() const
{
    return platform.fakeShell.calls.count(u"hide"_s);
}

QObject &PanelScene::theme()
{
    if (!m_themeHolder) {
        QQmlComponent component(&qml);
        component.setData("import QtQml; import Quillon; QtObject { property QtObject it: Theme }",
                          {});
        m_themeHolder.reset(component.create());
        if (!m_themeHolder)
            qFatal("%s", qPrintable(component.errorString()));
    }
    return *m_themeHolder->property("it").value<QObject *>();
}

QColor PanelScene::color(const char *name)
{
    return theme().property(name).value<QColor>();
}

void PanelScene::click(const QString &name) const
{
    // What has changed since the last frame is laid out in the next one.
    QSignalSpy frames(window.get(), &QQuickWindow::frameSwapped);
    window->update();
    if (!frames.wait(eventually))
        qFatal("The panel shows no frame.");
    const QQuickItem &target = item(name);
    const QPointF middle = target.mapToScene(target.boundingRect().center());
    QTest::mouseClick(window.get(), Qt::LeftButton, Qt::NoModifier, middle.toPoint());
}

void PanelScene::key(Qt::Key key, Qt::KeyboardModifiers modifiers) const
{
    QTest::keyClick(window.get(), key, modifiers);
}

void PanelScene::type(const QString &text) const
{
    for (const QChar character : text)
        QTest::keyClick(window.get(), character.toLatin1());
}

void PanelScene::submit(const QString &task) const
{
    type(task);
    key(Qt::Key_Return);
}

void PanelScene::run(const QString &task, const QStringList &replies)
{
    for (const QString &reply : replies)
        engine->addReplies({reply});
    session->submit(task);
    if (!QTest::qWaitFor([this] { return !session->isRunning(); }, eventually))
        qFatal("The task does not end.");
}
