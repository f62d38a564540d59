#include "inference/InferenceError.h"

#include <QTest>

#include <unordered_set>

using namespace Qt::StringLiterals;

class tst_InferenceError : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachCaseHasASentence_data();
    void eachCaseHasASentence();
    void errorsAreEqualByCase();
    void casesConvertToErrors();
};

void tst_InferenceError::eachCaseHasASentence_data()
{
    QTest::addColumn<int>("reason");
    QTest::addColumn<QString>("sentence");

    QTest::newRow("notLoaded") << int(InferenceError::notLoaded)
                               << u"The language model isn't loaded yet."_s;
    QTest::newRow("loadFailed") << int(InferenceError::loadFailed)
                                << u"Couldn't load the model file."_s;
    QTest::newRow("contextFailed")
        << int(InferenceError::contextFailed) << u"Couldn't create an inference context."_s;
    QTest::newRow("tokenizeFailed")
        << int(InferenceError::tokenizeFailed) << u"Couldn't tokenize the prompt."_s;
    QTest::newRow("decodeFailed") << int(InferenceError::decodeFailed)
                                  << u"The model failed while generating."_s;
}

void tst_InferenceError::eachCaseHasASentence()
{
    QFETCH(const int, reason);
    QFETCH(const QString, sentence);

    const InferenceError error = InferenceError::Case(reason);
    QCOMPARE(error.description(), sentence);
    QCOMPARE(QString::fromUtf8(error.what()), sentence);
    QCOMPARE(int(error.reason()), reason);
}

void tst_InferenceError::errorsAreEqualByCase()
{
    const InferenceError decodeFailed = InferenceError::decodeFailed;
    const InferenceError notLoaded = InferenceError::notLoaded;
    QVERIFY(decodeFailed != notLoaded);
    QVERIFY(decodeFailed == InferenceError::decodeFailed);

    const std::unordered_set<InferenceError> errors{decodeFailed, notLoaded, decodeFailed};
    QCOMPARE(errors.size(), std::size_t(2));
}

void tst_InferenceError::casesConvertToErrors()
{
    try {
        throw InferenceError(InferenceError::loadFailed);
    } catch (const std::exception &error) {
        QCOMPARE(error.what(), "Couldn't load the model file.");
    }
}

QTEST_APPLESS_MAIN(tst_InferenceError)
#include "tst_InferenceError.moc"
