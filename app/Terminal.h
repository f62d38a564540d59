#pragma once

#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <chrono>

/// The terminal, or the files in its place, that the program was started on. Main thread.
///
/// Whatever it prints is plain text: what in the words of a model, a file name or another
/// application would be obeyed or not seen is shown, and line breaks in it start indented lines.
class Terminal final : public QObject
{
    Q_OBJECT

public:
    /// A question is not answered faster than this by anybody who has read it; the panel's card
    /// takes as long.
    static constexpr std::chrono::milliseconds answerDelay{400};

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
    /// was typed before the question, or within answerDelay of it, is no answer to it and is
    /// dropped; in the second case the question is shown again. A question that is longer than the
    /// terminal is shown page by page, and only its end can be answered.
    void ask(const QString &question);
    /// Takes the question back.
    void withdrawQuestion();

    /// Drops what was typed and is not read yet. Not from a terminal that another program has now.
    void dropInput();

Q_SIGNALS:
    void answered(const QString &line);

private:
    void askPage();
    /// Drops what was typed, and tells whether there was anything.
    bool dropTyped();
    void takeAnswers();
    void endQuestion();
    void readAnswer();
    void clearStatus();

    const bool m_inputIsTerminal;
    const bool m_outputIsTerminal;
    bool m_statusIsShown = false;
    QStringList m_pages;                ///< What is still to be shown of the question.
    QString m_page;                     ///< What is shown of it.
    QTimer m_delay;                     ///< Before the page can be answered.
    QSocketNotifier *m_input = nullptr; ///< While it can.
};
