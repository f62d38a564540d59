#pragma once

#include "tests/support/Program.h"
#include "tests/support/ProgramHome.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>

/// The real program as a user starts it, with the real engine, a real model file and real files, in
/// a private home folder for each test. The replies have to differ from the examples in the system
/// prompt, which the test model would otherwise take for replies that it has given.
class ProgramFixture : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_home = std::make_unique<ProgramHome>(); }
    void cleanup() { m_home.reset(); }

protected:
    static const QString program;
    static QStringList taskArguments(const QString &task);

    /// The chosen model, with these replies.
    void giveModel(const QStringList &replies) const;
    static void writeModel(const QString &path, const QStringList &replies);

    /// A copy of the program in a folder of its own, in which smallModelPath() is the place of the
    /// small model that comes along; there is nothing yet.
    [[nodiscard]] QString installed() const;
    [[nodiscard]] QString smallModelPath() const;

    [[nodiscard]] Program::Options options(Program::Input input = Program::Input::nothing) const
    {
        return m_home->options(input);
    }

    std::unique_ptr<ProgramHome> m_home;
};
