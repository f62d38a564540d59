#pragma once

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <chrono>
#include <cstdio>

/// The program's standard streams, which may be a terminal or files. Main thread.
///
/// Prints plain text only: control sequences and invisible characters in the text of a model, a
/// file name or another application become visible, and line breaks in it start indented lines.
class Terminal final : public QObject
{
    Q_OBJECT

public:
    /// Users cannot read a question faster than this; the panel's card has the same delay.
    static constexpr std::chrono::milliseconds answerDelay{400};

    /// Where questions and statuses are shown. On the standard error they keep out of an output
    /// that is read by a program.
    enum class Dialogue { onOutput, onErrors };

    explicit Terminal(Dialogue dialogue = Dialogue::onOutput, QObject *parent = nullptr);

    /// Whether the user can be asked.
    [[nodiscard]] bool canAsk() const { return m_inputIsTerminal; }

    /// Prints a line on the standard output.
    void print(const QString &line);
    /// Prints a line for a program on the standard output, as it is: printable ASCII alone.
    void printRecord(const QByteArray &line);
    /// Prints a line on the standard error.
    void printError(const QString &line);

    /// Shows one line, cut to the terminal's width, that the next output replaces. Does nothing
    /// without a terminal.
    void showStatus(const QString &status);

    /// Prints the question and emits answered() with the line that the user then types. Input from
    /// before the question, or within answerDelay after it, is dropped; in the second case, the
    /// question is shown again. A question that is longer than the terminal is shown in pages; only
    /// the last one can be answered.
    void ask(const QString &question);
    /// Cancels the question.
    void withdrawQuestion();

    /// Drops unread input, unless another program has the terminal now.
    void dropInput();

Q_SIGNALS:
    void answered(const QString &line);

private:
    void askPage();
    /// Drops unread input and returns whether there was any.
    bool dropTyped() const;
    void takeAnswers();
    void endQuestion();
    void readAnswer();
    void clearStatus();

    std::FILE *const m_dialogue;
    const bool m_inputIsTerminal;
    const bool m_dialogueIsTerminal;
    bool m_statusIsShown = false;
    QStringList m_pages;                ///< The rest of the question.
    QString m_page;                     ///< The page that is shown.
    QTimer m_delay;                     ///< Runs until the page can be answered.
    QSocketNotifier *m_input = nullptr; ///< Exists while it can be answered.
};
