#include "app/PanelProgram.h"
#include "tests/support/FakePlatform.h"

#include <QCoreApplication>
#include <QTest>

#include <array>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {
/// A desktop on which a request can be sent without an application object.
class EarlyInstance final : public Instance
{
public:
    bool needsApplication() const override { return false; }
    bool claim(std::function<void(Request)>) override { return false; }
    Answer handOver(Request asked) override
    {
        requests.append(asked);
        return answer;
    }
    [[nodiscard]] LoginItem loginItem(const QString &, const QString &) const override
    {
        return {};
    }

    Answer answer = Answer::taken;
    QList<Request> requests;
};

class EarlyPlatform final : public FakePlatform
{
public:
    Instance &instance() override { return early; }

    EarlyInstance early;
};
} // namespace

// Has no application object itself, because it tests whether one is created.
class tst_PanelProgramHandOver : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sendsARequestBeforeThereIsAnApplication_data();
    void sendsARequestBeforeThereIsAnApplication();
};

void tst_PanelProgramHandOver::sendsARequestBeforeThereIsAnApplication_data()
{
    QTest::addColumn<Instance::Answer>("answer");
    QTest::addColumn<int>("status");
    QTest::newRow("taken") << Instance::Answer::taken << EXIT_SUCCESS;
    QTest::newRow("silent") << Instance::Answer::silent << EXIT_FAILURE;
}

void tst_PanelProgramHandOver::sendsARequestBeforeThereIsAnApplication()
{
    QFETCH(const Instance::Answer, answer);
    EarlyPlatform platform;
    platform.early.answer = answer;
    auto name = std::to_array("quillon");
    std::array<char *, 2> arguments = {name.data(), nullptr};
    QTEST(PanelProgram::run(1, arguments.data(), Instance::Request::toggle, {}), "status");
    QCOMPARE(platform.early.requests, QList<Instance::Request>{Instance::Request::toggle});
    // It would add an icon to the Dock.
    QVERIFY(!QCoreApplication::instance());
}

QTEST_APPLESS_MAIN(tst_PanelProgramHandOver)
#include "tst_PanelProgramHandOver.moc"
