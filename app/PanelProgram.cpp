#include "app/PanelProgram.h"

#include "app/HotKey.h"
#include "app/Terminal.h"
#include "platform/Platform.h"
#include "platform/Shell.h"

#include <QGuiApplication>
#include <QQuickWindow>
#include <QTimer>

#include <cstdlib>
#include <vector>

namespace {
// A predecessor that ends between two looks at it leaves the place free for us, or for another
// start that is quicker. So often it does not happen by chance.
constexpr int attempts = 5;

// Nothing once this process is the one that runs; else its exit status.
std::optional<int> becomeTheOne(const std::function<void(Instance::Request)> &received,
                                Instance::Request request, Terminal &terminal)
{
    Instance &instance = Platform::current().instance();
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (instance.claim(received))
            return std::nullopt;
        switch (instance.handOver(request)) {
        case Instance::Answer::taken:
            return EXIT_SUCCESS;
        case Instance::Answer::nobody:
            continue;
        case Instance::Answer::silent:
            attempt = attempts;
        }
    }
    terminal.complain(
        QStringLiteral("Quillon is running but does not answer: end it, then start it again."));
    return EXIT_FAILURE;
}
} // namespace

int PanelProgram::run(int argc, char **argv, Instance::Request request,
                      const QuillonApp::Views &views)
{
    Terminal terminal;
    Shell &shell = Platform::current().shell();
    if (!shell.hasDisplay()) {
        terminal.complain(QStringLiteral(
            "Quillon needs a desktop to show its panel on; without one, give it a task: "
            "quillon --task \"Find the latest PDF in my Downloads folder\""));
        return EXIT_FAILURE;
    }

    QByteArrayList extra = shell.toolkitArguments();
    std::vector<char *> arguments(argv, argv + argc);
    for (QByteArray &argument : extra)
        arguments.push_back(argument.data());
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);

    QuillonApp *running = nullptr;
    shell.observeReopening([&running](bool) {
        if (running)
            running->reopen();
    });
    if (shell.paintsInSoftware())
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QQuickWindow::setDefaultAlphaBuffer(true);
    const QGuiApplication application(count, arguments.data());
    QGuiApplication::setDesktopFileName(QStringLiteral("app.quillon.Quillon"));

    // Requests come from the event loop, so not before the panel is there.
    const auto received = [&running](Instance::Request asked) {
        QTimer::singleShot(0, qGuiApp, [&running, asked] {
            if (running && asked == Instance::Request::open)
                running->reopen();
            else if (running)
                HotKey::summon();
        });
    };
    if (const std::optional<int> status = becomeTheOne(received, request, terminal))
        return *status;

    QuillonApp quillon(views);
    running = &quillon;
    if (const std::optional<QString> failure = quillon.launch()) {
        terminal.complain(*failure);
        return EXIT_FAILURE;
    }
    const int status = QGuiApplication::exec();
    running = nullptr;
    return status;
}
