#include "app/PanelProgram.h"

#include "app/HotKey.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "base/NumericLocale.h"
#include "base/WorkQueue.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QFontDatabase>
#include <QGuiApplication>
#include <QQuickWindow>
#include <QStyleHints>
#include <QTimer>

#include <cstdlib>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
// The exit status if this process does not become the running instance.
int end(SingleInstance::Outcome outcome, Terminal &terminal)
{
    if (outcome == SingleInstance::Outcome::handedOver)
        return EXIT_SUCCESS;
    terminal.printError(u"Quillon is running but does not answer: end it, then start it again."_s);
    return EXIT_FAILURE;
}
} // namespace

int PanelProgram::run(int argc, char **argv, std::optional<Instance::Request> request,
                      const QuillonApp::Views &views, Start start)
{
    Terminal terminal;
    Shell &shell = Platform::current().shell();
    if (!shell.hasDisplay()) {
        terminal.printError(
            u"Quillon needs a desktop to show its panel on; without one, give it a task: "
            "quillon --task \"Find the latest PDF in my Downloads folder\""_s);
        return EXIT_FAILURE;
    }

    QuillonApp *running = nullptr;
    // Requests arrive from the event loop, after the panel was shown. If the bus has started this
    // process, its first request asked for that; even a toggle must not hide the panel again.
    bool isExpected = !request && start == Start::shown;
    const auto received = [&running, &isExpected](Instance::Request asked) {
        if (std::exchange(isExpected, false))
            asked = Instance::Request::open;
        QTimer::singleShot(0, qGuiApp, [&running, asked] {
            if (running && asked == Instance::Request::open)
                running->delegate().applicationWasStartedAgain();
            else if (running)
                HotKey::summon();
        });
    };
    const auto settle = [&] {
        if (start == Start::hidden) {
            return Platform::current().instance().claim(received)
                       ? SingleInstance::Outcome::isOurs
                       : SingleInstance::Outcome::handedOver;
        }
        return SingleInstance::settle(received, request.value_or(Instance::Request::open));
    };
    // As early as possible: a process that ends here has not appeared on the desktop.
    const bool settlesFirst = !Platform::current().instance().needsApplication();
    auto outcome = SingleInstance::Outcome::isOurs;
    if (settlesFirst)
        outcome = settle();
    if (outcome != SingleInstance::Outcome::isOurs)
        return end(outcome, terminal);

    if (Dock *const dock = shell.dock()) {
        dock->observeReopening([&running](bool hasVisibleWindows) {
            if (running)
                running->delegate().applicationShouldHandleReopen(hasVisibleWindows);
        });
    }
    ToolkitSettings toolkit = shell.toolkitSettings();
    std::vector<char *> arguments(argv, argv + argc);
    for (QByteArray &argument : toolkit.arguments)
        arguments.push_back(argument.data());
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    if (toolkit.paintsInSoftware)
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickWindow::setDefaultAlphaBuffer(true);
    // The toolkit reads it from the environment only; child processes must not inherit it.
    const QByteArray resolution = "QT_FONT_DPI";
    const std::optional<int> better =
        qEnvironmentVariableIsSet(resolution) ? std::nullopt : toolkit.fontResolution;
    if (better)
        qputenv(resolution, QByteArray::number(*better));
    const QGuiApplication application(count, arguments.data());
    if (better)
        qunsetenv(resolution);
    usePlainNumbers();
    // A blinking cursor would keep waking the processor.
    QGuiApplication::styleHints()->setCursorFlashTime(0);
    QGuiApplication::setDesktopFileName(u"app.quillon.Quillon"_s);

    if (!settlesFirst)
        outcome = settle();
    if (outcome != SingleInstance::Outcome::isOurs)
        return end(outcome, terminal);

    try {
        // Laying out the first text needs all fonts, and reading their list takes as long as
        // loading the views.
        WorkQueue fonts("fonts");
        fonts.add({.work = [] { (void)QFontDatabase::families(); }});
        QuillonApp quillon(views);
        fonts.close();
        running = &quillon;
        quillon.launch(start);
        const int status = QGuiApplication::exec();
        running = nullptr;
        return status;
    } catch (const PanelError &error) {
        terminal.printError(QString::fromUtf8(error.what()));
        return EXIT_FAILURE;
    }
}
