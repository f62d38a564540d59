#include "app/CommandLine.h"

#include "app/Autostart.h"
#include "app/Doctor.h"
#include "app/InterruptSignal.h"
#include "app/ModelCommands.h"
#include "app/PanelProgram.h"
#include "app/Terminal.h"
#include "app/TerminalRunner.h"
#include "base/NumericLocale.h"
#include "platform/CoreApplication.h"
#include "platform/Keyboard.h"
#include "platform/Platform.h"
#include "platform/PlatformError.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QRegularExpression>
#include <QTimer>

#include <cstdio>
#include <optional>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {
// Used by D-Bus activation, which sends the request afterwards.
const QString activatedOption = u"activated"_s;
const QString autostartOption = u"autostart"_s;
const QString backgroundOption = QString::fromLatin1(PanelProgram::backgroundOption);
const QString doctorOption = u"doctor"_s;
const QString importOption = u"import"_s;
const QString jsonOption = u"json"_s;
const QString modelsOption = u"models"_s;
const QString smallOption = u"small"_s;
const QString taskOption = u"task"_s;
const QString toggleOption = u"toggle"_s;

// Options that change how a task is done. Each goes with a task only.
const QStringList additions{jsonOption, smallOption};

// In place of a task: it is read from the standard input.
const QString fromInput = u"-"_s;
// No task is so long; a file that is not one may be.
constexpr qsizetype longestTask = qsizetype{64} * 1024;

const QString removal = u"remove"_s;

// These names determine the folders of settings and models, such as ~/.config/Quillon.
void setNames()
{
    QCoreApplication::setOrganizationName(u"Quillon"_s);
    QCoreApplication::setOrganizationDomain(u"quillon.app"_s);
    QCoreApplication::setApplicationName(u"Quillon"_s);
    QCoreApplication::setApplicationVersion(u"" QUILLON_VERSION ""_s);
}

void describe(QCommandLineParser &parser)
{
    parser.setApplicationDescription(
        u"Operates your computer for you, with a language model that runs on it. "
        "Without an argument it opens its panel, or brings it to the front."_s);
    parser.addPositionalArgument(u"task"_s, u"The same, without the option."_s, u"[task]"_s);
    parser.addOption(
        {taskOption,
         u"Run one task in this terminal; with - for the text it is read from the standard input."_s,
         u"text"_s});
    parser.addOption({jsonOption, u"With a task: print each line as a JSON object."_s});
    parser.addOption(
        {smallOption,
         u"With a task: use the small model that comes with Quillon, without a download."_s});
    parser.addOption({doctorOption, u"Check what tasks depend on, and say what to do about it."_s});
    parser.addOption({importOption,
                      u"Take this GGUF file for the chosen model's instead of fetching one."_s,
                      u"file"_s});
    parser.addOption(
        {modelsOption,
         u"List the models that are there; with \"remove\" and a name behind it, remove one."_s});
    parser.addOption({autostartOption, u"Start at login: on or off."_s, u"on|off"_s});
    parser.addOption({backgroundOption, u"Start without showing the panel."_s});
    parser.addOption({toggleOption, u"Show or hide the panel, as its key does."_s});
    QCommandLineOption activated(activatedOption);
    activated.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(activated);
    parser.addHelpOption();
    parser.addVersionOption();
}

QString spelled(const QString &option)
{
    return u"--"_s + option;
}

QCoro::Task<> runInTerminal(TerminalRunner &runner, QString task)
{
    QCoreApplication::exit(co_await runner.run(std::move(task)));
}

int runTask(const QString &task, TerminalRunner::Form form, bool usesSmallModel)
{
    Platform::current().keyboard().recover();
    Terminal terminal(form == TerminalRunner::Form::text ? Terminal::Dialogue::onOutput
                                                         : Terminal::Dialogue::onErrors);
    ModelManager models;
    if (usesSmallModel && !models.useSmallModel()) {
        terminal.printError(
            u"No small model came with this Quillon: give the task without %1."_s.arg(
                spelled(smallOption)));
        return EXIT_FAILURE;
    }
    AgentSession session(models);
    TerminalRunner runner(models, session, terminal, form);
    const InterruptSignal interrupt;
    QObject::connect(&interrupt, &InterruptSignal::interrupted, &runner, &TerminalRunner::stop);

    QCoro::Task<> running;
    QTimer::singleShot(0, &runner, [&] { running = runInTerminal(runner, task); });
    return QCoreApplication::exec();
}

int runDoctor()
{
    Terminal terminal;
    const QList<Doctor::Line> report = Doctor::examine();
    for (const Doctor::Line &line : report)
        terminal.print(Doctor::text(line));
    return Doctor::isHealthy(report) ? EXIT_SUCCESS : EXIT_FAILURE;
}

// All of the standard input; nothing if that is too long for a task.
std::optional<QString> taskFromInput()
{
    QByteArray text(longestTask + 1, '\0');
    text.truncate(static_cast<qsizetype>(
        std::fread(text.data(), 1, static_cast<std::size_t>(text.size()), stdin)));
    if (text.size() > longestTask)
        return std::nullopt;
    return QString::fromUtf8(text);
}

// The options that say what is to be done, as often as they were given.
QStringList commands(const QCommandLineParser &parser)
{
    QStringList all = parser.optionNames();
    for (const QString &option : additions)
        all.removeAll(option);
    return all;
}

// Arguments that make no sense; what() is one sentence for the user, in UTF-8.
class UsageError final : public std::runtime_error
{
public:
    explicit UsageError(const QString &sentence) : runtime_error(sentence.toStdString()) {}
};

// Throws a UsageError if arguments exclude each other.
void requireConsistency(const QCommandLineParser &parser)
{
    const QStringList options = commands(parser);
    for (const QString &option : options) {
        if (option != options.first()) {
            throw UsageError(u"%1 and %2 don't go together: give one of them."_s.arg(
                spelled(options.first()), spelled(option)));
        }
    }
    if (options.size() > 1)
        throw UsageError(u"Give %1 only once."_s.arg(spelled(options.first())));

    const QStringList words = parser.positionalArguments();
    const bool isTask = options.isEmpty() ? !words.isEmpty() : options.first() == taskOption;
    for (const QString &option : additions) {
        if (parser.optionNames().count(option) > 1)
            throw UsageError(u"Give %1 only once."_s.arg(spelled(option)));
        if (parser.isSet(option) && !isTask)
            throw UsageError(u"%1 goes with a task only."_s.arg(spelled(option)));
    }
    // A value was forgotten, and the parser took the next option for it.
    const QStringList all{autostartOption, backgroundOption, doctorOption, importOption, jsonOption,
                          modelsOption,    smallOption,      taskOption,   toggleOption};
    for (const QString &option : {taskOption, importOption}) {
        const QString value = parser.value(option);
        if (value.startsWith(u"--") && all.contains(value.mid(2))) {
            throw UsageError(u"%1 is followed by %2, not by a %3."_s.arg(
                spelled(option), value, option == taskOption ? u"task"_s : u"file"_s));
        }
    }
    if (options.isEmpty() && words.size() == 1 && (all.contains(words.first()))) {
        throw UsageError(u"Is that the option %1? A task of this one word is given with %2."_s.arg(
            spelled(words.first()), spelled(taskOption)));
    }
    // A desktop passes addresses to whatever program it is told to open them with.
    static const QRegularExpression address(uR"(^[a-z][a-z0-9+.-]*:\S+$)"_s,
                                            QRegularExpression::CaseInsensitiveOption);
    if (options.isEmpty() && words.size() == 1 && address.match(words.first()).hasMatch()) {
        throw UsageError(u"That is an address. A task of this one word is given with %1."_s.arg(
            spelled(taskOption)));
    }
}

// Reads the arguments before there is an application object.
bool asksForPanel(int argc, char **argv, std::optional<Instance::Request> &request,
                  PanelProgram::Start &start)
{
    QCommandLineParser parser;
    describe(parser);
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty())
        return false;
    const QStringList options = parser.optionNames();
    if (options.isEmpty())
        request = Instance::Request::open;
    else if (options == QStringList{toggleOption})
        request = Instance::Request::toggle;
    else if (options == QStringList{backgroundOption})
        start = PanelProgram::Start::hidden;
    else
        return options == QStringList{activatedOption};
    return true;
}

int switchAutostart(const QString &value)
{
    Terminal terminal;
    const bool isOn = value == u"on";
    if (!isOn && value != u"off") {
        terminal.printError(u"--autostart is followed by on or off."_s);
        return EXIT_FAILURE;
    }
    try {
        Autostart::set(isOn ? Autostart::Switch::on : Autostart::Switch::off);
    } catch (const PlatformError &error) {
        terminal.printError(QString::fromUtf8(error.what()));
        return EXIT_FAILURE;
    }
    terminal.print(isOn ? u"Quillon starts at login."_s : u"Quillon does not start at login."_s);
    return EXIT_SUCCESS;
}

int runTaskOf(const QCommandLineParser &parser, const QString &text)
{
    const auto form =
        parser.isSet(jsonOption) ? TerminalRunner::Form::records : TerminalRunner::Form::text;
    const std::optional<QString> task = text == fromInput ? taskFromInput() : text;
    if (task)
        return runTask(*task, form, parser.isSet(smallOption));
    Terminal().printError(u"The task is too long."_s);
    return EXIT_FAILURE;
}

int carryOut(const QCommandLineParser &parser)
{
    const QString command = commands(parser).value(0);
    const QStringList words = parser.positionalArguments();
    if (command == modelsOption && words.size() == 2 && words.first() == removal)
        return ModelCommands::remove(words.last());
    if (command.isEmpty() && words.size() == 1)
        return runTaskOf(parser, words.first());
    if (words.isEmpty()) {
        if (command == doctorOption)
            return runDoctor();
        if (command == modelsOption)
            return ModelCommands::list();
        if (command == autostartOption)
            return switchAutostart(parser.value(autostartOption));
        if (command == importOption)
            return ModelCommands::import(parser.value(importOption));
        if (command == taskOption)
            return runTaskOf(parser, parser.value(taskOption));
    }
    const QString sentence =
        command == modelsOption
            ? u"A model is removed by its name: quillon --models remove %1"_s.arg(
                  LocalModel::catalog().first().id)
            : u"Quillon takes a task as one text: quillon --task \"Find the latest PDF in my "
              "Downloads folder\""_s;
    Terminal().printError(sentence);
    return EXIT_FAILURE;
}
} // namespace

int CommandLine::run(int argc, char **argv, const QuillonApp::Views &views)
{
    setNames();
    std::optional<Instance::Request> request;
    auto start = PanelProgram::Start::shown;
    if (asksForPanel(argc, argv, request, start))
        return PanelProgram::run(argc, argv, request, views, start);

    // Everything else needs no display.
    const QCoreApplication *const application = makeCoreApplication(argc, argv);
    usePlainNumbers();
    QCommandLineParser parser;
    describe(parser);
    parser.process(*application);
    try {
        requireConsistency(parser);
    } catch (const UsageError &error) {
        Terminal().printError(QString::fromUtf8(error.what()));
        return EXIT_FAILURE;
    }
    return carryOut(parser);
}
