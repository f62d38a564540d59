#include "app/Terminal.h"

#include "base/ShownText.h"

#include <array>
#include <cstdio>
#include <utility>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
constexpr int usualWidth = 80;
constexpr int usualHeight = 24;

// The end of a page if the question is longer than the terminal.
const QString more = u"\n— Return shows the rest — "_s;
constexpr int moreHeight = 2;

int terminalWidth(std::FILE *stream)
{
    winsize size = {};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return usualWidth;
}

int terminalHeight(std::FILE *stream)
{
    winsize size = {};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) == 0 && size.ws_row > 0)
        return size.ws_row;
    return usualHeight;
}

// Characters of other scripts than Latin, Greek and Cyrillic may take two columns.
int columnsOf(char32_t character)
{
    constexpr char32_t firstWide = 0x1100;
    return character < firstWide ? 1 : 2;
}

// The beginning of the line that fits in any case.
QString fitting(const QString &line, int columns)
{
    qsizetype end = 0;
    for (const char32_t character : line.toUcs4()) {
        columns -= columnsOf(character);
        if (columns < 0)
            break;
        end += QChar::requiresSurrogates(character) ? 2 : 1;
    }
    return line.left(end);
}

// The text in parts that each fit in any case into so many lines of so many columns.
QStringList pages(const QString &text, int columns, int lines)
{
    QStringList all{QString()};
    int line = 1;
    int column = 0;
    for (const char32_t character : text.toUcs4()) {
        const bool isFull = column + columnsOf(character) > columns;
        if (character == '\n' || isFull) {
            column = 0;
            ++line;
        }
        if (line > lines) {
            line = 1;
            all.append(QString());
            if (character == '\n')
                continue;
        }
        all.last() += QChar::fromUcs4(character);
        if (character != '\n')
            column += columnsOf(character);
    }
    return all;
}

void write(std::FILE *stream, const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    std::fwrite(utf8.constData(), 1, static_cast<std::size_t>(utf8.size()), stream);
    std::fflush(stream);
}

// Further lines of foreign text are indented, so that they do not look like our own.
QString indented(QString text)
{
    return text.replace(u'\n', u"\n    "_s);
}
} // namespace

Terminal::Terminal(Dialogue dialogue, QObject *parent)
    : QObject(parent)
    , m_dialogue(dialogue == Dialogue::onOutput ? stdout : stderr)
    , m_inputIsTerminal(isatty(STDIN_FILENO) == 1)
    , m_dialogueIsTerminal(isatty(fileno(m_dialogue)) == 1)
{
    m_delay.setSingleShot(true);
    m_delay.setInterval(answerDelay);
    connect(&m_delay, &QTimer::timeout, this, &Terminal::takeAnswers);
}

void Terminal::print(const QString &line)
{
    clearStatus();
    write(stdout, indented(ShownText::plain(line)) + u'\n');
}

void Terminal::printRecord(const QByteArray &line)
{
    clearStatus();
    std::fwrite(line.constData(), 1, static_cast<std::size_t>(line.size()), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

void Terminal::printError(const QString &line)
{
    clearStatus();
    write(stderr, indented(ShownText::plain(line)) + u'\n');
}

void Terminal::showStatus(const QString &status)
{
    if (!m_dialogueIsTerminal)
        return;
    clearStatus();
    if (status.isEmpty())
        return;
    const QString line = ShownText::plain(status).replace(u'\n', u' ');
    write(m_dialogue, fitting(line, terminalWidth(m_dialogue) - 1));
    m_statusIsShown = true;
}

void Terminal::clearStatus()
{
    if (m_statusIsShown)
        write(m_dialogue, u"\r\033[K"_s);
    m_statusIsShown = false;
}

void Terminal::ask(const QString &question)
{
    clearStatus();
    const QString shown = indented(ShownText::plain(question));
    m_pages = m_dialogueIsTerminal
                  ? pages(shown, terminalWidth(m_dialogue), terminalHeight(m_dialogue) - moreHeight)
                  : QStringList{shown};
    askPage();
}

void Terminal::askPage()
{
    dropInput();
    m_page = m_pages.takeFirst();
    write(m_dialogue, m_pages.isEmpty() ? m_page : m_page + more);
    m_delay.start();
}

void Terminal::takeAnswers()
{
    if (dropTyped()) {
        write(m_dialogue, u"\n"_s);
        m_pages.prepend(m_page);
        askPage();
        return;
    }
    m_input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_input, &QSocketNotifier::activated, this, &Terminal::readAnswer);
}

void Terminal::withdrawQuestion()
{
    if (!m_input && !m_delay.isActive())
        return;
    endQuestion();
    write(m_dialogue, u"\n"_s);
}

void Terminal::dropInput()
{
    (void)dropTyped();
}

bool Terminal::dropTyped() const
{
    // Otherwise the system would stop the process as a background job.
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    termios usual = {};
    if (!m_inputIsTerminal || (foreground > 0 && foreground != getpgrp()) ||
        tcgetattr(STDIN_FILENO, &usual) != 0)
        return false;
    // In canonical mode, incomplete lines cannot be read.
    termios everyKey = usual;
    everyKey.c_lflag &= ~static_cast<tcflag_t>(ICANON);
    int length = 0;
    tcsetattr(STDIN_FILENO, TCSANOW, &everyKey);
    ioctl(STDIN_FILENO, FIONREAD, &length);
    tcflush(STDIN_FILENO, TCIFLUSH);
    tcsetattr(STDIN_FILENO, TCSANOW, &usual);
    return length > 0;
}

void Terminal::endQuestion()
{
    m_delay.stop();
    m_pages.clear();
    if (!m_input)
        return;
    m_input->setEnabled(false);
    m_input->deleteLater();
    m_input = nullptr;
}

void Terminal::readAnswer()
{
    // In canonical mode, read() returns a whole line; end of input counts as an empty answer.
    std::array<char, 4096> buffer{};
    const ssize_t length = read(STDIN_FILENO, buffer.data(), buffer.size());
    QStringList rest = std::exchange(m_pages, {});
    endQuestion();
    if (length > 0 && !rest.isEmpty()) {
        // Before the last page, any answer only shows the next one.
        m_pages = std::move(rest);
        askPage();
        return;
    }
    if (length <= 0)
        write(m_dialogue, u"\n"_s);
    Q_EMIT answered(QString::fromUtf8(buffer.data(), length > 0 ? length : 0));
}
