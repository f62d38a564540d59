#include "app/Terminal.h"

#include <array>
#include <cstdio>

#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
constexpr int usualWidth = 80;

int terminalWidth()
{
    winsize size = {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    return usualWidth;
}

// As much of the line as surely fits: what is not Latin, Greek or Cyrillic may take two columns.
QString fitting(const QString &line, int columns)
{
    constexpr char32_t firstWide = 0x1100;
    qsizetype end = 0;
    for (const char32_t character : line.toUcs4()) {
        columns -= character < firstWide ? 1 : 2;
        if (columns < 0)
            break;
        end += QChar::requiresSurrogates(character) ? 2 : 1;
    }
    return line.left(end);
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

bool changesDirection(QChar character)
{
    switch (character.direction()) {
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
        return true;
    default:
        return false;
    }
}
} // namespace

Terminal::Terminal(QObject *parent)
    : QObject(parent)
    , m_inputIsTerminal(isatty(STDIN_FILENO) == 1)
    , m_outputIsTerminal(isatty(STDOUT_FILENO) == 1)
{
}

QString Terminal::plainText(const QString &text)
{
    QString plain = text;
    for (QChar &character : plain) {
        const bool isControl = character.category() == QChar::Other_Control && character != u'\n';
        if (isControl || changesDirection(character))
            character = QChar::ReplacementCharacter;
    }
    return plain;
}

void Terminal::print(const QString &line)
{
    clearStatus();
    write(stdout, indented(plainText(line)) + u'\n');
}

void Terminal::printError(const QString &line)
{
    clearStatus();
    write(stderr, indented(plainText(line)) + u'\n');
}

void Terminal::showStatus(const QString &status)
{
    if (!m_outputIsTerminal)
        return;
    clearStatus();
    if (status.isEmpty())
        return;
    const QString line = plainText(status).replace(u'\n', u' ');
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
    tcflush(STDIN_FILENO, TCIFLUSH);
    write(stdout, indented(plainText(question)));
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
    if (length <= 0)
        write(stdout, u"\n"_s);
    Q_EMIT answered(QString::fromUtf8(buffer.data(), length > 0 ? length : 0));
}
