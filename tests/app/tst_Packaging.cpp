// Checks the program's metadata for desktops against the program.

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QMap>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>
#include <QtEndian>

using namespace Qt::StringLiterals;

namespace {
const QString packaging = u"" PACKAGING "/"_s;

QByteArray content(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("%s is missing.", qPrintable(path));
    return file.readAll();
}

// The entries of a property list's top-level dictionary; booleans as "true" and "false".
QMap<QString, QString> propertyList(const QString &path)
{
    QXmlStreamReader xml(content(path));
    QMap<QString, QString> entries;
    QString key;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement || xml.name() == u"plist" ||
            xml.name() == u"dict")
            continue;
        const QString element = xml.name().toString();
        const QString text = xml.readElementText();
        if (element == u"key")
            key = text;
        else
            entries.insert(key, element == u"string" ? text : element);
    }
    if (xml.hasError())
        qFatal("%s: %s", qPrintable(path), qPrintable(xml.errorString()));
    return entries;
}
} // namespace

class tst_Packaging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void theBundleDescribesItsRequirements_data();
    void theBundleDescribesItsRequirements();
    void theBundleMaySendAppleEventsAndNothingElse();
    void theDesktopEntryStartsTheProgram();
    void theIconIsRenderedInEverySize();
    void aMissingDrawingIsAFailure();
};

void tst_Packaging::theBundleDescribesItsRequirements_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("value"); // if empty: any sentence

    QTest::newRow("id") << u"CFBundleIdentifier"_s << u"app.quillon.Quillon"_s;
    QTest::newRow("name") << u"CFBundleName"_s << u"Quillon"_s;
    QTest::newRow("icon") << u"CFBundleIconFile"_s << u"Quillon"_s;
    // The target of the build.
    QTest::newRow("system") << u"LSMinimumSystemVersion"_s << u"${CMAKE_OSX_DEPLOYMENT_TARGET}"_s;
    QTest::newRow("awake") << u"LSAppNapIsDisabled"_s << u"true"_s;
    QTest::newRow("one instance") << u"LSMultipleInstancesProhibited"_s << u"true"_s;
    QTest::newRow("Accessibility") << u"NSAccessibilityUsageDescription"_s << QString();
    QTest::newRow("Screen Recording") << u"NSScreenCaptureUsageDescription"_s << QString();
    QTest::newRow("Desktop") << u"NSDesktopFolderUsageDescription"_s << QString();
    QTest::newRow("Documents") << u"NSDocumentsFolderUsageDescription"_s << QString();
    QTest::newRow("Downloads") << u"NSDownloadsFolderUsageDescription"_s << QString();
    QTest::newRow("Apple events") << u"NSAppleEventsUsageDescription"_s << QString();
}

void tst_Packaging::theBundleDescribesItsRequirements()
{
    QFETCH(const QString, key);
    QFETCH(const QString, value);
    const QMap<QString, QString> entries = propertyList(packaging + u"macos/Info.plist.in"_s);
    QVERIFY(entries.contains(key));
    if (value.isEmpty())
        QVERIFY(entries[key].startsWith(u"Quillon ") && entries[key].endsWith(u'.'));
    else
        QCOMPARE(entries[key], value);
}

void tst_Packaging::theBundleMaySendAppleEventsAndNothingElse()
{
    const QMap<QString, QString> expected{
        {u"com.apple.security.automation.apple-events"_s, u"true"_s}};
    QCOMPARE(propertyList(packaging + u"macos/Quillon.entitlements"_s), expected);
}

void tst_Packaging::theDesktopEntryStartsTheProgram()
{
    // Desktops expect the file to have the bus name.
    QSettings entry(packaging + u"linux/app.quillon.Quillon.desktop"_s, QSettings::IniFormat);
    const auto value = [&](const QString &key) { return entry.value(key).toString(); };
    QCOMPARE(value(u"Desktop Entry/Exec"_s), u"quillon"_s);
    QCOMPARE(value(u"Desktop Entry/Icon"_s), u"app.quillon.Quillon"_s);
    QCOMPARE(value(u"Desktop Entry/StartupWMClass"_s), u"Quillon"_s);
    QCOMPARE(value(u"Desktop Entry/Terminal"_s), u"false"_s);
    QCOMPARE(value(u"Desktop Action toggle/Exec"_s), u"quillon --toggle"_s);
}

void tst_Packaging::theIconIsRenderedInEverySize()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"Quillon.icns"_s);
    QCOMPARE(QProcess::execute(u"" MAKE_ICNS ""_s, {packaging + u"icon/quillon.svg"_s, path}), 0);
    const QByteArray icon = content(path);
    const auto length = [&](qsizetype at) {
        return static_cast<qsizetype>(qFromBigEndian<quint32>(icon.constData() + at));
    };
    QCOMPARE(icon.first(4), QByteArray("icns"));
    QCOMPARE(length(4), icon.size());
    const QMap<QByteArray, int> expected{{"icp4", 16},  {"icp5", 32},  {"ic11", 32},  {"ic12", 64},
                                         {"ic07", 128}, {"ic08", 256}, {"ic13", 256}, {"ic09", 512},
                                         {"ic14", 512}, {"ic10", 1024}};
    QMap<QByteArray, int> found;
    constexpr qsizetype header = 8;
    for (qsizetype at = header; at < icon.size(); at += length(at + 4)) {
        QVERIFY(length(at + 4) > header);
        const QImage image =
            QImage::fromData(icon.sliced(at + header, length(at + 4) - header), "PNG");
        QCOMPARE(image.width(), image.height());
        QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        QCOMPARE(qAlpha(image.pixel(image.width() / 2, image.height() / 2)), 255);
        found.insert(icon.sliced(at, 4), image.width());
    }
    QCOMPARE(found, expected);
}

void tst_Packaging::aMissingDrawingIsAFailure()
{
    const QTemporaryDir folder;
    QCOMPARE(QProcess::execute(u"" MAKE_ICNS ""_s,
                               {folder.filePath(u"none.svg"_s), folder.filePath(u"x.icns"_s)}),
             1);
}

QTEST_GUILESS_MAIN(tst_Packaging)
#include "tst_Packaging.moc"
