#include "app/Doctor.h"
#include "models/LocalModel.h"
#include "models/ModelManager.h"
#include "tests/app/DoctorSubjects.h"
#include "tests/support/FakePlatform.h"
#include "tests/support/PrivateHome.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::StringLiterals;
using Verdict = Finding::Verdict;

class tst_Doctor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();

    void everySubjectHasALineInOrder();
    void aLineHasTheStateAndTheAdvice_data();
    void aLineHasTheStateAndTheAdvice();
    void onlyBadVerdictsAreUnhealthy();
    void withoutADisplayOtherChecksThatNeedOneAreSkipped();
    void reportsTheSystem();
    void reportsTheLibrarysVersionAndBackends();
    void reportsTheModelsFolderAndItsFreeSpace();
    void anInvalidModelsFolderIsBad();
    void withoutAModelTheFirstTaskDownloadsOne();
    void onePresentModelIsEnough();
    void aFileOfAnotherSizeIsAnotherModel();
    void anInvalidModelFileIsBad_data();
    void anInvalidModelFileIsBad();
};

namespace {
QString modelFile(qsizetype index)
{
    return QDir(ModelManager::directory()).filePath(LocalModel::catalog()[index].fileName);
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

Finding finding(const QString &subject)
{
    for (const Doctor::Line &line : Doctor::examine()) {
        if (line.subject == subject)
            return line.finding;
    }
    return {Verdict::bad, u"no such subject"_s};
}
} // namespace

void tst_Doctor::cleanup()
{
    const QString models = ModelManager::directory();
    QFile::remove(models);
    QDir(models).removeRecursively();
}

void tst_Doctor::everySubjectHasALineInOrder()
{
    const FakePlatform platform;
    QStringList subjects;
    for (const Doctor::Line &line : Doctor::examine())
        subjects.append(line.subject);
    QCOMPARE(subjects, doctorSubjects);
}

void tst_Doctor::aLineHasTheStateAndTheAdvice_data()
{
    QTest::addColumn<int>("verdict");
    QTest::addColumn<QString>("advice");
    QTest::addColumn<QString>("text");

    const auto row = [](const char *name, Verdict verdict, const QString &advice,
                        const QString &text) {
        QTest::newRow(name) << static_cast<int>(verdict) << advice << text;
    };
    row("good", Verdict::good, {}, u"✓ Hot key: as it is."_s);
    row("neutral", Verdict::neutral, {}, u"– Hot key: as it is."_s);
    row("limited", Verdict::limited, u"Do it."_s, u"! Hot key: as it is. Do it."_s);
    row("bad", Verdict::bad, u"Do it now."_s, u"✗ Hot key: as it is. Do it now."_s);
}

void tst_Doctor::aLineHasTheStateAndTheAdvice()
{
    QFETCH(const int, verdict);
    QFETCH(const QString, advice);
    const Doctor::Line line{u"Hot key"_s, {static_cast<Verdict>(verdict), u"as it is"_s, advice}};
    QTEST(Doctor::text(line), "text");
}

void tst_Doctor::onlyBadVerdictsAreUnhealthy()
{
    FakePlatform platform;
    QVERIFY(Doctor::isHealthy(Doctor::examine()));
    platform.fakeDiagnosis.key.verdict = Verdict::limited;
    platform.fakeDiagnosis.capture.verdict = Verdict::neutral;
    QVERIFY(Doctor::isHealthy(Doctor::examine()));
    platform.fakeDiagnosis.controls.verdict = Verdict::bad;
    QVERIFY(!Doctor::isHealthy(Doctor::examine()));
}

void tst_Doctor::withoutADisplayOtherChecksThatNeedOneAreSkipped()
{
    FakePlatform platform;
    platform.fakeDiagnosis.screen = {Verdict::bad, u"none"_s, u"Log in."_s};
    const Finding unknown{Verdict::neutral, u"not known without a display"_s};
    QCOMPARE(finding(u"Display"_s), platform.fakeDiagnosis.screen);
    QCOMPARE(finding(u"Hot key"_s), unknown);
    QCOMPARE(finding(u"Screen capture"_s), unknown);
    QVERIFY(!Doctor::isHealthy(Doctor::examine()));
}

void tst_Doctor::reportsTheSystem()
{
    FakePlatform platform;
    platform.fakeDiagnosis.screen.state = u"a big screen"_s;
    platform.fakeDiagnosis.controls = {Verdict::bad, u"not allowed"_s, u"Allow it."_s};
    platform.fakeDiagnosis.key = {Verdict::limited, u"taken"_s, u"Take another."_s};
    platform.fakeDiagnosis.capture = {Verdict::limited, u"not allowed"_s, u"Allow it, too."_s};
    platform.fakeDiagnosis.folders.state = u"Filer"_s;
    QCOMPARE(finding(u"Display"_s), platform.fakeDiagnosis.screen);
    QCOMPARE(finding(u"Accessibility"_s), platform.fakeDiagnosis.controls);
    QCOMPARE(finding(u"Hot key"_s), platform.fakeDiagnosis.key);
    QCOMPARE(finding(u"Screen capture"_s), platform.fakeDiagnosis.capture);
    QCOMPARE(finding(u"File manager"_s), platform.fakeDiagnosis.folders);
    QVERIFY(finding(u"Quillon"_s).state.startsWith(u"4.5.6 on "));
}

void tst_Doctor::reportsTheLibrarysVersionAndBackends()
{
    const FakePlatform platform;
    const Finding library = finding(u"llama.cpp"_s);
    QCOMPARE(library.verdict, Verdict::good);
    const QRegularExpression form(u"^\\d+\\.\\d+\\S*, computing with .*CPU.* \\(.+\\)$"_s);
    QVERIFY2(form.match(library.state).hasMatch(), qPrintable(library.state));
}

void tst_Doctor::reportsTheModelsFolderAndItsFreeSpace()
{
    const FakePlatform platform;
    write(modelFile(0), "GGUF");
    const Finding folder = finding(u"Models folder"_s);
    QCOMPARE(folder.verdict, Verdict::good);
    const QRegularExpression form(
        u'^' + QRegularExpression::escape(QDir::toNativeSeparators(ModelManager::directory())) +
        u", \\d+(\\.\\d)? [kMGTPE]?B free$"_s);
    QVERIFY2(form.match(folder.state).hasMatch(), qPrintable(folder.state));
}

void tst_Doctor::anInvalidModelsFolderIsBad()
{
    const FakePlatform platform;
    const QString folder = ModelManager::directory();
    QVERIFY(QDir().rmdir(folder));
    write(folder, "in the way");
    const Finding expected{Verdict::bad,
                           QDir::toNativeSeparators(folder) + u" cannot be written to"_s,
                           u"Make it a folder of yours that you may write to."_s};
    QCOMPARE(finding(u"Models folder"_s), expected);
}

void tst_Doctor::withoutAModelTheFirstTaskDownloadsOne()
{
    const FakePlatform platform;
    const QString advice = u"The first task fetches the model that is chosen, once."_s;
    const Finding small{Verdict::limited, u"not there, about 986.0 MB to fetch"_s, advice};
    const Finding big{Verdict::limited, u"not there, about 2.0 GB to fetch"_s, advice};
    QCOMPARE(finding(LocalModel::catalog()[0].name), small);
    QCOMPARE(finding(LocalModel::catalog()[1].name), big);
}

void tst_Doctor::onePresentModelIsEnough()
{
    const FakePlatform platform;
    write(modelFile(1), "GGUF");
    // Takes no room on the disk.
    QVERIFY(QFile::resize(modelFile(1), 2'019'000'000));
    const Finding missing{Verdict::neutral, u"not there, about 986.0 MB to fetch"_s};
    const Finding there{Verdict::good, u"there, 2.0 GB"_s};
    QCOMPARE(finding(LocalModel::catalog()[0].name), missing);
    QCOMPARE(finding(LocalModel::catalog()[1].name), there);
}

void tst_Doctor::aFileOfAnotherSizeIsAnotherModel()
{
    const FakePlatform platform;
    write(modelFile(1), "GGUF");
    QVERIFY(QFile::resize(modelFile(1), 98'000'000));
    const Finding expected{
        Verdict::limited, u"there, 98.0 MB instead of about 2.0 GB"_s,
        u"It is another model, or not all of it. \"quillon --models remove llama3.2-3b\" removes "
        "it; the next task then fetches the right one."_s};
    QCOMPARE(finding(LocalModel::catalog()[1].name), expected);
}

void tst_Doctor::anInvalidModelFileIsBad_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("size");

    QTest::newRow("empty") << QByteArray() << u"0 bytes"_s;
    QTest::newRow("cut short") << QByteArray("GGU") << u"3 bytes"_s;
    QTest::newRow("a web page") << QByteArray("<!DOCTYPE html>") << u"15 bytes"_s;
}

void tst_Doctor::anInvalidModelFileIsBad()
{
    QFETCH(const QByteArray, content);
    QFETCH(const QString, size);
    const FakePlatform platform;
    write(modelFile(0), content);
    const Finding expected{Verdict::bad, u"there (%1), but it is no model"_s.arg(size),
                           u"Delete %1: the next task fetches it again."_s.arg(modelFile(0))};
    QCOMPARE(finding(LocalModel::catalog()[0].name), expected);
}

int main(int argc, char *argv[])
{
    const PrivateHome home;
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(u"4.5.6"_s);
    tst_Doctor test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_Doctor.moc"
