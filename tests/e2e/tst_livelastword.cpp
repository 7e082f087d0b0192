#include "e2e/LiveSession.h"
#include "support/Text.h"

// What a host says last arrives behind megabytes that it said before.
class tst_LiveLastWord : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lastWordArrivesBehindFiveMegabytes_data() { addLessonAndTlsRows(); }
    void lastWordArrivesBehindFiveMegabytes();
    void hostIsToldWhenItMayEnd_data() { addLessonAndTlsRows(); }
    void hostIsToldWhenItMayEnd();
};

void tst_LiveLastWord::lastWordArrivesBehindFiveMegabytes()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());

    session.channel->setCardImageData(noise(5 * 1024 * 1024)); // which no block makes smaller
    session.channel->showImageCard(false);
    QVERIFY(session.client->doStopSession());

    QTRY_COMPARE_WITH_TIMEOUT(far->lastWords(rowTransport()), QVector<int>({1, 1, 1}), LONG_MS);
}

void tst_LiveLastWord::hostIsToldWhenItMayEnd()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);
    session.channel->setCardImageData(noise(2 * 1024 * 1024));
    session.channel->showImageCard(false);
    QVERIFY(session.channel->hasUnsentMessages());
    session.channel->close();
    QVERIFY(session.channel->hasUnsentMessages());
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);

    // From here on nothing is lost, whatever goes first.
    delete session.channel;
    QTRY_COMPARE_WITH_TIMEOUT(far->lastWords(rowTransport()), QVector<int>({1, 1, 1}), LONG_MS);
}

QTEST_GUILESS_MAIN(tst_LiveLastWord)
#include "tst_livelastword.moc"
