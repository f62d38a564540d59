#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QString>

/// The terminal, or the files in its place, that the program was started on. Main thread.
///
/// Whatever it prints is plain text: control characters in what a model, a file name or another
/// application said are shown, not obeyed, and line breaks in it start indented lines.
class Terminal final : public QObject
{
    Q_OBJECT

public:
    explicit Terminal(QObject *parent = nullptr);

    /// True where somebody can be asked.
    [[nodiscard]] bool canAsk() const { return m_inputIsTerminal; }

    /// Prints a line on the standard output.
    void print(const QString &line);
    /// Prints a line on the standard error.
    void printError(const QString &line);

    /// Shows one line that the next output replaces; on anything but a terminal nothing. Cut to
    /// the terminal's width.
    void showStatus(const QString &status);

    /// Prints the question and emits answered() with the line that the user types after it. What
    /// was typed before the question is no answer to it and is dropped.
    void ask(const QString &question);
    /// Takes the question back.
    void withdrawQuestion();

    /// The text with every control character (and every character that changes the direction of
    /// the text) replaced by a visible one; line ends stay.
    [[nodiscard]] static QString plainText(const QString &text);

Q_SIGNALS:
    void answered(const QString &line);

private:
    void readAnswer();
    void clearStatus();

    const bool m_inputIsTerminal;
    const bool m_outputIsTerminal;
    bool m_statusIsShown = false;
    QSocketNotifier *m_input = nullptr; ///< While a question stands.
};
