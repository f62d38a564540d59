#include "FakeCarbon.h"
#include "FakeCoreFoundation.h"
#include "platform/macos/MacDiagnosis.h"
#include "tests/support/FakePlatform.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Verdict = Finding::Verdict;

class tst_MacDiagnosis : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        FakeCarbon::reset();
        FakeCoreFoundation::mayCaptureScreen = true;
    }

    void everyPermissionIsGood();
    void missingPermissionsNameTheirSettings();
    void aHotKeyOfAnotherApplicationIsReported();
    void theHotKeyOfTheRunningPanelIsGood();
    void aLoginWithoutADesktopHasNoDisplay();

private:
    FakeAccessibility m_accessibility;
    FakeShell m_shell;
    bool m_panelHasKey = false;
    MacDiagnosis m_diagnosis{m_accessibility, m_shell, [this] { return m_panelHasKey; }};
};

void tst_MacDiagnosis::everyPermissionIsGood()
{
    const auto good = [](const QString &state) { return Finding{Verdict::good, state}; };
    QCOMPARE(m_diagnosis.display(), good(u"this login has a desktop"_s));
    QCOMPARE(m_diagnosis.accessibility(), good(u"allowed"_s));
    QCOMPARE(m_diagnosis.hotKey(), good(u"no other application keeps Option+Space to itself"_s));
    // It has only tried to register the key.
    QVERIFY(FakeCarbon::hotKeys.isEmpty());
    QCOMPARE(m_diagnosis.screenCapture(), good(u"allowed"_s));
    QCOMPARE(m_diagnosis.fileManager(), good(u"Finder"_s));
}

void tst_MacDiagnosis::missingPermissionsNameTheirSettings()
{
    m_accessibility.trusted = false;
    FakeCoreFoundation::mayCaptureScreen = false;
    const Finding controls{
        Verdict::bad, u"not allowed"_s,
        u"Switch on Quillon (or the terminal that it was started in) in System Settings, Privacy & "
        "Security, Accessibility. If it is on there, remove it with the minus button and add it "
        "again."_s};
    const Finding capture{
        Verdict::limited, u"not allowed"_s,
        u"Switch on Quillon (or the terminal that it was started in) in System Settings, Privacy & "
        "Security, Screen Recording."_s};
    QCOMPARE(m_diagnosis.accessibility(), controls);
    QCOMPARE(m_diagnosis.screenCapture(), capture);
    QCOMPARE(m_accessibility.trustRequests, 0); // requests no permission
    m_accessibility.trusted = true;
}

void tst_MacDiagnosis::aHotKeyOfAnotherApplicationIsReported()
{
    constexpr OSStatus hotKeyExists = -9878;
    FakeCarbon::result = hotKeyExists;
    const Finding expected{Verdict::limited, u"Option+Space belongs to another application"_s,
                           u"Give that application another key, or click Quillon in the Dock."_s};
    QCOMPARE(m_diagnosis.hotKey(), expected);
}

void tst_MacDiagnosis::theHotKeyOfTheRunningPanelIsGood()
{
    constexpr OSStatus hotKeyExists = -9878;
    FakeCarbon::result = hotKeyExists;
    m_panelHasKey = true;
    const Finding expected{Verdict::good, u"Option+Space shows and hides the running Quillon"_s};
    QCOMPARE(m_diagnosis.hotKey(), expected);
    m_panelHasKey = false;
}

void tst_MacDiagnosis::aLoginWithoutADesktopHasNoDisplay()
{
    m_shell.displays = 0;
    const Finding expected{Verdict::bad, u"none"_s,
                           u"Log in at the Mac itself: this login has no desktop."_s};
    QCOMPARE(m_diagnosis.display(), expected);
    m_shell.displays = 1;
}

QTEST_APPLESS_MAIN(tst_MacDiagnosis)
#include "tst_MacDiagnosis.moc"
