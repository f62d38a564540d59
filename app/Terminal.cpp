#include "app/Terminal.h"

#include "base/ShownText.h"

#include <array>
#include <cstdio>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
constexpr int usualWidth = 80;
constexpr int usualHeight = 24;

// What ends a page of a question that is longer than the terminal.
const QString more = u"\n— Return shows the rest — "_s;
constexpr int moreHeight = 2;

int terminalWidth()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return usualWidth;
}

int terminalHeight()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0)
        return size.ws_row;
    return usualHeight;
}

// What is not Latin, Greek or Cyrillic may take two columns.
int columnsOf(char32_t character)
{
    constexpr char32_t firstWide = 0x1100;
    return character < firstWide ? 1 : 2;
}

// As much of the line as surely fits.
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

// The text in parts of which each surely fits into so many lines of so many columns.
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

// The lines within a text that others wrote stand apart, so that none passes for one of ours.
QString indented(QString text)
{
    return text.replace(u'\n', u"\n    "_s);
}
} // namespace

Terminal::Terminal(QObject *parent)
    : QObject(parent)
    , m_inputIsTerminal(isatty(STDIN_FILENO) == 1)
    , m_outputIsTerminal(isatty(STDOUT_FILENO) == 1)
{
}

void Terminal::print(const QString &line)
{
    clearStatus();
    write(stdout, indented(ShownText::plain(line)) + u'\n');
}

void Terminal::printError(const QString &line)
{
    clearStatus();
    write(stderr, indented(ShownText::plain(line)) + u'\n');
}

void Terminal::showStatus(const QString &status)
{
    if (!m_outputIsTerminal)
        return;
    clearStatus();
    if (status.isEmpty())
        return;
    const QString line = ShownText::plain(status).replace(u'\n', u' ');
    write(stdout, fitting(line, terminalWidth() - 1));
    m_statusIsShown = true;
}

void Terminal::clearStatus()
{
    if (m_statusIsShown)
        write(stdout, u"\r\033[K"_s);
    m_statusIsShown = false;
}

void Terminal::ask(const QString &question)
{
    clearStatus();
    const QString shown = indented(ShownText::plain(question));
    m_pages = m_outputIsTerminal ? pages(shown, terminalWidth(), terminalHeight() - moreHeight)
                                 : QStringList{shown};
    askPage();
}

void Terminal::askPage()
{
    tcflush(STDIN_FILENO, TCIFLUSH);
    const QString page = m_pages.takeFirst();
    write(stdout, m_pages.isEmpty() ? page : page + more);
    m_input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_input, &QSocketNotifier::activated, this, &Terminal::readAnswer);
}

void Terminal::withdrawQuestion()
{
    if (!m_input)
        return;
    m_input->setEnabled(false);
    m_input->deleteLater();
    m_input = nullptr;
    m_pages.clear();
    write(stdout, u"\n"_s);
}

void Terminal::readAnswer()
{
    // A terminal hands over whole lines; its end of input is an empty answer.
    std::array<char, 4096> buffer{};
    const ssize_t length = read(STDIN_FILENO, buffer.data(), buffer.size());
    m_input->setEnabled(false);
    m_input->deleteLater();
    m_input = nullptr;
    if (length > 0 && !m_pages.isEmpty()) {
        // Whatever it says, it was said before the end of the question was to be seen.
        askPage();
        return;
    }
    m_pages.clear();
    if (length <= 0)
        write(stdout, u"\n"_s);
    Q_EMIT answered(QString::fromUtf8(buffer.data(), length > 0 ? length : 0));
}
