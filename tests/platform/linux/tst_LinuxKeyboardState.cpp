#include "tests/platform/linux/KeyboardFixture.h"
#include "tests/support/Waiting.h"

#include <QTimer>

using namespace Qt::StringLiterals;

namespace {
constexpr xcb_keycode_t leftShift = 50;
constexpr xcb_keycode_t leftControl = 37;
constexpr xcb_keycode_t leftAlt = 64;
constexpr xcb_keycode_t leftSuper = 133;
constexpr xcb_keycode_t numLock = 77;
} // namespace

class tst_LinuxKeyboardState : public KeyboardFixture
{
    Q_OBJECT

private Q_SLOTS:
    void ignoresTheLayoutOfTheHardware();
    void ignoresLocks_data();
    void ignoresLocks();
    void ignoresHeldModifiers_data();
    void ignoresHeldModifiers();
    void aModifierThatIsReleasedMeanwhileStaysUp();
};

void tst_LinuxKeyboardState::ignoresTheLayoutOfTheHardware()
{
    const auto receiver = terminal(u"hardware"_s);
    setLayout({u"-device"_s, QString::number(m_server->device(hardware)), u"fr"_s});
    m_server->strike(hardware, 24);
    QTRY_COMPARE(receiver->received(), "a"_ba);
    const QByteArray map = keyboardMap();
    QVERIFY(map != m_map);
    const QString text = u"qwerty azerty äöü Жук"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), u'a' + text);
    // The layout of the hardware is unchanged.
    m_server->strike(hardware, 24);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), u'a' + text + u'a');
    QCOMPARE(keyboardMap(), map);
}

void tst_LinuxKeyboardState::ignoresLocks_data()
{
    QTest::addColumn<QList<int>>("keys");
    QTest::addColumn<int>("modifiers");
    QTest::newRow("Caps Lock") << QList<int>{capsLock} << int{XCB_MOD_MASK_LOCK};
    QTest::newRow("Num Lock") << QList<int>{numLock} << int{XCB_MOD_MASK_2};
    QTest::newRow("both") << QList<int>{capsLock, numLock} << (XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2);
}

void tst_LinuxKeyboardState::ignoresLocks()
{
    QFETCH(const QList<int>, keys);
    QFETCH(const int, modifiers);
    const auto receiver = terminal(u"locks"_s);
    const auto strike = [&] {
        for (const int key : keys) {
            m_server->press(hardware, static_cast<xcb_keycode_t>(key), true);
            m_server->press(hardware, static_cast<xcb_keycode_t>(key), false);
        }
    };
    strike();
    QCOMPARE(m_server->modifiers(), modifiers);
    const QString text = u"aZ1! äÖ жЖ"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(pressed(u"a"_s), u"Pressed a."_s);
    QCOMPARE(m_server->modifiers(), modifiers);
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text + u'a');
    strike();
}

void tst_LinuxKeyboardState::ignoresHeldModifiers_data()
{
    QTest::addColumn<QByteArray>("keyboard");
    QTest::addColumn<QList<int>>("keys");
    for (const QByteArray &keyboard : {hardware, injected}) {
        const auto row = [&](const char *name, const QList<int> &keys) {
            QTest::addRow("%s, %s", name, keyboard.constData()) << keyboard << keys;
        };
        row("Shift", {leftShift});
        row("Control", {leftControl});
        row("Alt", {leftAlt});
        row("Super", {leftSuper});
        row("Shift and Control", {leftControl, leftShift});
    }
}

void tst_LinuxKeyboardState::ignoresHeldModifiers()
{
    QFETCH(const QByteArray, keyboard);
    QFETCH(const QList<int>, keys);
    const auto receiver = terminal(u"held"_s);
    for (const int key : keys)
        m_server->press(keyboard, static_cast<xcb_keycode_t>(key), true);
    const int modifiers = m_server->modifiers();
    QVERIFY(modifiers != 0);
    const QString text = u"aZ1! äÖ жЖ"_s;
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(m_server->keysDown(), keys);
    QCOMPARE(m_server->modifiers(), modifiers);
    for (const int key : keys)
        m_server->press(keyboard, static_cast<xcb_keycode_t>(key), false);
    QCOMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text);
}

void tst_LinuxKeyboardState::aModifierThatIsReleasedMeanwhileStaysUp()
{
    const auto receiver = terminal(u"let-go"_s);
    m_server->press(hardware, leftShift, true);
    QTimer::singleShot(200, this, [this] { m_server->press(hardware, leftShift, false); });
    const QString text = u"no capitals here "_s.repeated(40);
    QCOMPARE(typed(text), u"Typed text."_s);
    QCOMPARE(m_server->keysDown(), QList<int>());
    QTRY_COMPARE(QString::fromUtf8(receiver->received()), text);
}

QTEST_GUILESS_MAIN(tst_LinuxKeyboardState)

#include "tst_LinuxKeyboardState.moc"
