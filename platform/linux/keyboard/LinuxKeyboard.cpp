#include "platform/linux/Capabilities.h"

#include "base/Futures.h"
#include "platform/Keyboard.h"
#include "platform/PlatformError.h"

#include <QCoreApplication>
#include <QDir>
#include <QMap>
#include <QProcess>
#include <QTimer>

#include <chrono>
#include <deque>
#include <utility>

#include <xkbcommon/xkbcommon-keysyms.h>

using namespace Qt::StringLiterals;

namespace {
// Longer than the keyboard program waits for an application.
constexpr std::chrono::milliseconds answerLimit{2000};

// Keysyms of Latin-1 are the code points; those of other characters are the code points plus this.
constexpr uint unicodeSymbols = 0x01000000;

uint symbolOfCharacter(uint character)
{
    const bool isLatin1 =
        (character >= 0x20 && character < 0x7f) || (character >= 0xa0 && character <= 0xff);
    return isLatin1 ? character : unicodeSymbols | character;
}

// Without characters that no key types: control characters except for line breaks and tabs.
QList<uint> symbolsOf(QString text)
{
    text.replace(u"\r\n"_s, u"\n"_s);
    QList<uint> symbols;
    for (uint character : text.toUcs4()) {
        if (QChar::isSurrogate(character))
            character = QChar::ReplacementCharacter; // an unpaired surrogate
        if (character == u'\n' || character == u'\r')
            symbols.append(XKB_KEY_Return);
        else if (character == u'\t')
            symbols.append(XKB_KEY_Tab);
        else if (character >= 0x20 && (character < 0x7f || character >= 0xa0))
            symbols.append(symbolOfCharacter(character));
    }
    return symbols;
}

// The keysym of a key on the standard Mac keyboard.
uint symbolOfKey(quint16 code)
{
    static const QMap<quint16, uint> characters{
        {0, 'a'},   {1, 's'},  {2, 'd'},  {3, 'f'},  {4, 'h'},  {5, 'g'},   {6, 'z'},  {7, 'x'},
        {8, 'c'},   {9, 'v'},  {11, 'b'}, {12, 'q'}, {13, 'w'}, {14, 'e'},  {15, 'r'}, {16, 'y'},
        {17, 't'},  {18, '1'}, {19, '2'}, {20, '3'}, {21, '4'}, {22, '6'},  {23, '5'}, {24, '='},
        {25, '9'},  {26, '7'}, {27, '-'}, {28, '8'}, {29, '0'}, {30, ']'},  {31, 'o'}, {32, 'u'},
        {33, '['},  {34, 'i'}, {35, 'p'}, {37, 'l'}, {38, 'j'}, {39, '\''}, {40, 'k'}, {41, ';'},
        {42, '\\'}, {43, ','}, {44, '/'}, {45, 'n'}, {46, 'm'}, {47, '.'},  {49, ' '},
    };
    static const QMap<quint16, uint> others{
        {36, XKB_KEY_Return}, {48, XKB_KEY_Tab},    {51, XKB_KEY_BackSpace}, {53, XKB_KEY_Escape},
        {123, XKB_KEY_Left},  {124, XKB_KEY_Right}, {125, XKB_KEY_Down},     {126, XKB_KEY_Up},
    };
    // Keysyms of these characters are their codes.
    return characters.value(code, others.value(code));
}

// Command becomes Control, so that the usual shortcuts work.
QByteArray modifiersOf(quint32 flags)
{
    QByteArray modifiers;
    if ((flags & KeyFlag::shift) != 0)
        modifiers += " shift";
    if ((flags & (KeyFlag::command | KeyFlag::control)) != 0)
        modifiers += " control";
    if ((flags & KeyFlag::option) != 0)
        modifiers += " alt";
    return modifiers;
}

QByteArray request(const QByteArray &what, const QList<uint> &symbols = {},
                   const QByteArray &modifiers = {})
{
    QByteArray line = what;
    for (const uint symbol : symbols)
        line += ' ' + QByteArray::number(symbol, 16);
    return line + modifiers + '\n';
}

// It is in the libexec folder, which is beside the folder of our program when installed, or above
// it in the build folder.
QString keyboardProgram()
{
    const QString path = u"" QUILLON_LIBEXECDIR "/quillon/quillon-keyboard"_s;
    QDir folder(QCoreApplication::applicationDirPath());
    while (!folder.exists(path) && folder.cdUp()) {
    }
    return folder.filePath(path);
}

// Continues even if this program ends.
void startRecovery()
{
    QProcess recovery;
    recovery.setProgram(keyboardProgram());
    recovery.setArguments({u"recover"_s});
    recovery.setStandardInputFile(QProcess::nullDevice());
    recovery.setStandardOutputFile(QProcess::nullDevice());
    recovery.setStandardErrorFile(QProcess::nullDevice());
    (void)recovery.startDetached();
}

class TypingProgram final : public KeyboardSource
{
public:
    TypingProgram(const QString &text, ProcessId receiver) : m_process(new QProcess)
    {
        m_limit.setSingleShot(true);
        m_limit.setInterval(answerLimit);
        QObject::connect(&m_limit, &QTimer::timeout, &m_limit,
                         [this] { fail(u"The X server does not answer."_s); });
        QObject::connect(m_process, &QProcess::readyReadStandardOutput, &m_limit,
                         [this] { readAnswers(); });
        QObject::connect(m_process, &QProcess::errorOccurred, &m_limit,
                         [this](QProcess::ProcessError error) {
                             if (error == QProcess::FailedToStart)
                                 fail(u"The keyboard program can't be started."_s);
                         });
        QObject::connect(m_process, &QProcess::finished, &m_limit, [this] { end(); });
        // If it was killed, it has restored nothing; this does not depend on a pending action.
        QObject::connect(m_process, &QProcess::finished, m_process,
                         [](int, QProcess::ExitStatus status) {
                             if (status == QProcess::CrashExit)
                                 startRecovery();
                         });
        m_process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process->start(keyboardProgram(), {QString::number(static_cast<qint64>(receiver))});
        const QList<uint> symbols = symbolsOf(text);
        if (!symbols.isEmpty())
            (void)ask(request("expect", symbols));
    }

    // Not waited for: it ends when it has restored everything.
    ~TypingProgram() override
    {
        m_process->disconnect(&m_limit);
        m_process->closeWriteChannel();
        QObject::connect(m_process, &QProcess::finished, m_process, &QObject::deleteLater);
        if (m_process->state() == QProcess::NotRunning)
            m_process->deleteLater();
    }

    QFuture<void> post(const KeyEvent &event) override
    {
        if (event.text.isEmpty()) {
            return ask(event.isDown
                           ? request("press", {symbolOfKey(event.code)}, modifiersOf(event.flags))
                           : request("release"));
        }
        // Text has no key that could be held.
        const QList<uint> symbols = event.isDown ? symbolsOf(event.text) : QList<uint>();
        if (!symbols.isEmpty())
            return ask(request("type", symbols));
        return m_failure ? Futures::failed(*m_failure) : Futures::done();
    }

    QFuture<void> finish() override
    {
        m_isFinishing = true;
        m_process->closeWriteChannel();
        return await();
    }

private:
    QFuture<void> ask(const QByteArray &line)
    {
        m_process->write(line);
        return await();
    }

    QFuture<void> await()
    {
        if (m_failure)
            return Futures::failed(*m_failure);
        m_limit.start();
        m_awaited.emplace_back().start();
        return m_awaited.back().future();
    }

    // An empty line for a completed request, or a sentence before the program exits.
    void readAnswers()
    {
        while (m_process->canReadLine()) {
            const QString line = QString::fromUtf8(m_process->readLine()).trimmed();
            if (!line.isEmpty())
                fail(line);
            else if (!m_awaited.empty())
                settleNext();
        }
    }

    void end()
    {
        readAnswers();
        if (m_isFinishing && !m_failure && m_awaited.size() == 1 &&
            m_process->exitStatus() == QProcess::NormalExit)
            settleNext();
        // It accepts no further requests.
        fail(u"The keyboard program ended too early."_s);
    }

    void settleNext()
    {
        m_awaited.front().finish();
        m_awaited.pop_front();
        if (m_awaited.empty())
            m_limit.stop();
        else
            m_limit.start();
    }

    void fail(const QString &sentence)
    {
        m_limit.stop();
        // Pending requests must not be typed later.
        if (m_process->state() != QProcess::NotRunning)
            m_process->terminate();
        if (!m_failure)
            m_failure.emplace(sentence);
        for (QPromise<void> &promise : std::exchange(m_awaited, {}))
            Futures::fail(promise, *m_failure);
    }

    QProcess *m_process; ///< Deleted when it has ended.
    QTimer m_limit;
    std::deque<QPromise<void>> m_awaited; ///< The pending answers, in order.
    std::optional<PlatformError>
        m_failure; ///< The failure, after which there are no further requests.
    bool m_isFinishing = false;
};

// The keyboard of an X desktop. A separate program for each source injects the events: it restores
// the keyboard even if this process is killed, and a server that hangs blocks only that program.
class LinuxKeyboard final : public Keyboard
{
public:
    void recover() override;
    std::unique_ptr<KeyboardSource> open(const QString &text, ProcessId receiver) override;
};
} // namespace

void LinuxKeyboard::recover()
{
    if (!qEnvironmentVariableIsEmpty("DISPLAY"))
        startRecovery();
}

std::unique_ptr<KeyboardSource> LinuxKeyboard::open(const QString &text, ProcessId receiver)
{
    return std::make_unique<TypingProgram>(text, receiver);
}

std::unique_ptr<Keyboard> makeLinuxKeyboard()
{
    return std::make_unique<LinuxKeyboard>();
}
