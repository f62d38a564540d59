#include "app/PanelProgram.h"

#include "app/HotKey.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "base/NumericLocale.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QStyleHints>
#include <QTimer>

#include <cstdlib>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace {
// The exit status of a start that another process has taken over.
int end(SingleInstance::Outcome outcome, Terminal &terminal)
{
    if (outcome == SingleInstance::Outcome::handedOver)
        return EXIT_SUCCESS;
    terminal.printError(u"Quillon is running but does not answer: end it, then start it again."_s);
    return EXIT_FAILURE;
}
} // namespace

int PanelProgram::run(int argc, char **argv, std::optional<Instance::Request> request,
                      const QuillonApp::Views &views)
{
    Terminal terminal;
    Shell &shell = Platform::current().shell();
    if (!shell.hasDisplay()) {
        terminal.printError(
            u"Quillon needs a desktop to show its panel on; without one, give it a task: "
            "quillon --task \"Find the latest PDF in my Downloads folder\""_s);
        return EXIT_FAILURE;
    }

    QByteArrayList extra = shell.toolkitArguments();
    std::vector<char *> arguments(argv, argv + argc);
    for (QByteArray &argument : extra)
        arguments.push_back(argument.data());
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);

    QuillonApp *running = nullptr;
    // Requests come from the event loop, so not before the panel is there. The one that the program
    // was started for has been met by then: even a toggle is not to hide what it has just brought
    // up.
    bool isExpected = !request;
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
        return SingleInstance::settle(received, request.value_or(Instance::Request::open));
    };
    // As early as the system allows: what is over then has not shown itself.
    const bool settlesFirst = !Platform::current().instance().needsApplication();
    auto outcome = SingleInstance::Outcome::isOurs;
    if (settlesFirst)
        outcome = settle();
    if (outcome != SingleInstance::Outcome::isOurs)
        return end(outcome, terminal);

    shell.observeReopening([&running](bool hasVisibleWindows) {
        if (running)
            running->delegate().applicationShouldHandleReopen(hasVisibleWindows);
    });
    if (shell.paintsInSoftware())
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickWindow::setDefaultAlphaBuffer(true);
    // The toolkit takes it from the environment only, which is not for the programs that we start.
    const QByteArray resolution = "QT_FONT_DPI";
    const std::optional<int> better =
        qEnvironmentVariableIsSet(resolution) ? std::nullopt : shell.fontResolution();
    if (better)
        qputenv(resolution, QByteArray::number(*better));
    const QGuiApplication application(count, arguments.data());
    if (better)
        qunsetenv(resolution);
    usePlainNumbers();
    // A cursor that blinks would wake the processor for nothing, again and again.
    QGuiApplication::styleHints()->setCursorFlashTime(0);
    QGuiApplication::setDesktopFileName(u"app.quillon.Quillon"_s);

    if (!settlesFirst)
        outcome = settle();
    if (outcome != SingleInstance::Outcome::isOurs)
        return end(outcome, terminal);

    QuillonApp quillon(views);
    running = &quillon;
    if (const std::optional<QString> failure = quillon.launch()) {
        terminal.printError(*failure);
        return EXIT_FAILURE;
    }
    const int status = QGuiApplication::exec();
    running = nullptr;
    return status;
}
