#include "Posts.h"

using namespace Scripted;

// Messages that wait while a post is under way leave together in the next.
class tst_PostQueueJoining : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void limitsOfTheRobustWay();
    void messagesLeaveTogether_data();
    void messagesLeaveTogether();
    void hundredAtOnceAreTwoPosts();
    void hundredLongOnesAreThreePosts();
    void whatComesLaterJoinsWhatWaits();
    void otherAddressesStayApart();
    void messagesStayApartByDefault();
    void wayChangesBetweenPosts();
    void roomIsFreeAgainAfterJoining();
    void tensOfThousandsAreJoinedInOrder();
};

namespace
{

using Messages = QList<QByteArray>;

const QByteArray FIRST = "[\n    \"first\"\n]\n";

// A text of so many letters, as an element of an array and alone in one.
QByteArray element(int length)
{
    return "    \"" + QByteArray(length, 'x') + "\"";
}

QByteArray framed(int length)
{
    return "[\n" + element(length) + "\n]\n";
}

// Takes so many posts on one connection.
Script answers(int posts)
{
    Script script;
    for (int i = 0; i < posts; ++i)
        script << expectRequest() << send(NO_CONTENT);
    return script;
}

void addForms()
{
    const Messages forms = {"[\"b\"]", "[\n    \"b\"\n]",  "[\n    \"b\"]\n", "[    \"b\"\n]\n",
                            "[\n]\n",  "[\n\n]\n",         "\n]\n",           "]\n",
                            "",        "{\n    \"b\"\n}\n"};
    for (const QByteArray &form : forms) {
        const QByteArray name = "of another form: " + form.toPercentEncoding("[]{} ");
        QTest::newRow(name.constData())
            << Messages{"[\n    \"a\"\n]\n", form, "[\n    \"c\"\n]\n", "[\n    \"d\"\n]\n"}
            << Messages{"[\n    \"a\"\n]\n", form, "[\n    \"c\",\n    \"d\"\n]\n"};
    }
}

} // namespace

void tst_PostQueueJoining::limitsOfTheRobustWay()
{
    const PostQueue::Limits limits = PostQueue::robust();
    QCOMPARE(limits.patienceMs, 10000);
    QCOMPARE(limits.longestMs, 60000);
    QCOMPARE(limits.remainingMs, 30000);
    QCOMPARE(limits.waitingBytes, qint64(67108864));
    QCOMPARE(limits.joinedBytes, qint64(65536));
    QCOMPARE(limits.idleMs, 3000);
    QVERIFY(!limits.mayRepeat);
    const PostQueue::Limits byDefault;
    QCOMPARE(byDefault.joinedBytes, qint64(0));
    QCOMPARE(byDefault.idleMs, 0);
    QVERIFY(byDefault.mayRepeat);
}

// What follows a first message, and the posts that follow its own.
void tst_PostQueueJoining::messagesLeaveTogether_data()
{
    QTest::addColumn<Messages>("messages");
    QTest::addColumn<Messages>("posts");

    QTest::newRow("none") << Messages() << Messages();
    QTest::newRow("one") << Messages{"[\n    \"a\"\n]\n"} << Messages{"[\n    \"a\"\n]\n"};
    QTest::newRow("two") << Messages{"[\n    \"a\"\n]\n", "[\n    \"b\"\n]\n"}
                         << Messages{"[\n    \"a\",\n    \"b\"\n]\n"};
    QTest::newRow("three") << Messages{"[\n    \"a\"\n]\n", "[\n    \"\"\n]\n", "[\n    \"c\"\n]\n"}
                           << Messages{"[\n    \"a\",\n    \"\",\n    \"c\"\n]\n"};
    QTest::newRow("escaped") << Messages{"[\n    \"\\n]\\n\"\n]\n",
                                         "[\n    \"[\\n \\\"b\\\",\\n\"\n]\n"}
                             << Messages{"[\n    \"\\n]\\n\",\n    \"[\\n \\\"b\\\",\\n\"\n]\n"};
    QTest::newRow("not ASCII") << Messages{"[\n    \"\u20ac\"\n]\n", "[\n    \"\U0001f600\"\n]\n"}
                               << Messages{"[\n    \"\u20ac\",\n    \"\U0001f600\"\n]\n"};
    // Two elements take 19 bytes beside their texts.
    QTest::newRow("65,536 bytes") << Messages{framed(65000), framed(517)}
                                  << Messages{"[\n" + element(65000) + ",\n" + element(517)
                                              + "\n]\n"};
    QTest::newRow("65,537 bytes") << Messages{framed(65000), framed(518)}
                                  << Messages{framed(65000), framed(518)};
    QTest::newRow("what fits") << Messages{framed(60000), framed(1), framed(60000), framed(2)}
                               << Messages{"[\n" + element(60000) + ",\n" + element(1) + "\n]\n",
                                           "[\n" + element(60000) + ",\n" + element(2) + "\n]\n"};
    QTest::newRow("longer one") << Messages{framed(1), framed(2), framed(70000), framed(3),
                                            framed(4)}
                                << Messages{"[\n" + element(1) + ",\n" + element(2) + "\n]\n",
                                            framed(70000),
                                            "[\n" + element(3) + ",\n" + element(4) + "\n]\n"};
    addForms();
}

void tst_PostQueueJoining::messagesLeaveTogether()
{
    QFETCH(Messages, messages);
    QFETCH(Messages, posts);
    Posts far({answers(1 + posts.size())}, PostQueue::robust());
    far.send(FIRST);
    for (const QByteArray &message : messages)
        far.send(message);
    QTRY_COMPARE_WITH_TIMEOUT(far.drained.size(), 1, 20000);
    QCOMPARE(far.bodies(), Messages{FIRST} + posts);
    QCOMPARE(far.server.connectionCount(), 1);
    QCOMPARE(far.lost, QStringList());
    QCOMPARE(far.log.messages(), QStringList());
}

void tst_PostQueueJoining::hundredAtOnceAreTwoPosts()
{
    Posts posts({answers(2)}, PostQueue::robust());
    QByteArray joined = "[\n    \"1\"";
    posts.send("[\n    \"0\"\n]\n");
    posts.send("[\n    \"1\"\n]\n");
    for (int i = 2; i < 100; ++i) {
        posts.send("[\n    \"" + QByteArray::number(i) + "\"\n]\n");
        joined += ",\n    \"" + QByteArray::number(i) + "\"";
    }
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.bodies(), (Messages{"[\n    \"0\"\n]\n", joined + "\n]\n"}));
}

void tst_PostQueueJoining::hundredLongOnesAreThreePosts()
{
    Posts posts({answers(3)}, PostQueue::robust());
    for (int i = 0; i < 100; ++i)
        posts.send(framed(1000));
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    const Messages bodies = posts.bodies();
    QCOMPARE(bodies.size(), 3);
    QCOMPARE(bodies.at(0).count("xxx\""), 1);
    QCOMPARE(bodies.at(1).count("xxx\""), 65);
    QCOMPARE(bodies.at(2).count("xxx\""), 34);
}

void tst_PostQueueJoining::whatComesLaterJoinsWhatWaits()
{
    Posts posts(
        {{expectRequest(), pause(300), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)}},
        PostQueue::robust());
    posts.send(FIRST);
    posts.send("[\n    \"a\"\n]\n");
    QTRY_COMPARE_WITH_TIMEOUT(posts.bodies().size(), 1, 20000);
    posts.send("[\n    \"b\"\n]\n");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.bodies(), (Messages{FIRST, "[\n    \"a\",\n    \"b\"\n]\n"}));
}

void tst_PostQueueJoining::otherAddressesStayApart()
{
    Posts posts({answers(4)}, PostQueue::robust());
    posts.send(FIRST, u"/old"_s);
    posts.send("[\n    \"a\"\n]\n", u"/old"_s);
    posts.send("[\n    \"b\"\n]\n", u"/new"_s);
    posts.send("[\n    \"c\"\n]\n", u"/new"_s);
    posts.send("[\n    \"d\"\n]\n", u"/old"_s);
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.bodies(),
             (Messages{FIRST, "[\n    \"a\"\n]\n", "[\n    \"b\",\n    \"c\"\n]\n",
                       "[\n    \"d\"\n]\n"}));
    QVERIFY(posts.server.requests().at(1).startsWith("POST /old "));
    QVERIFY(posts.server.requests().at(2).startsWith("POST /new "));
}

void tst_PostQueueJoining::messagesStayApartByDefault()
{
    Posts posts{answers(3)};
    posts.send(FIRST);
    posts.send("[\n    \"a\"\n]\n");
    posts.send("[\n    \"b\"\n]\n");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.bodies(), (Messages{FIRST, "[\n    \"a\"\n]\n", "[\n    \"b\"\n]\n"}));
}

void tst_PostQueueJoining::wayChangesBetweenPosts()
{
    Posts posts{answers(4)};
    posts.send(FIRST);
    posts.send("[\n    \"a\"\n]\n");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    posts->setLimits(PostQueue::robust());
    posts.send(FIRST);
    posts.send("[\n    \"a\"\n]\n");
    posts.send("[\n    \"b\"\n]\n");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 2, 20000);
    QCOMPARE(posts.bodies(),
             (Messages{FIRST, "[\n    \"a\"\n]\n", FIRST, "[\n    \"a\",\n    \"b\"\n]\n"}));
}

void tst_PostQueueJoining::roomIsFreeAgainAfterJoining()
{
    PostQueue::Limits limits = PostQueue::robust();
    limits.waitingBytes = 24; // two messages
    Posts posts({answers(4)}, limits);
    for (int round = 1; round <= 2; ++round) {
        posts.send("[\n    \"0\"\n]\n");
        posts.send("[\n    \"a\"\n]\n");
        posts.send("[\n    \"b\"\n]\n");
        posts.send("[\n    \"c\"\n]\n");
        QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), round, 20000);
        QCOMPARE(posts.bodies().last(), QByteArray("[\n    \"a\",\n    \"b\"\n]\n"));
        QCOMPARE(posts.lost.size(), round);
        QCOMPARE(posts.lost.last(), u"Too much waits to be sent, 12 bytes are dropped"_s);
    }
}

void tst_PostQueueJoining::tensOfThousandsAreJoinedInOrder()
{
    Posts posts({answers(19)}, PostQueue::robust());
    for (int i = 10000; i < 100000; ++i)
        posts.send("[\n    \"" + QByteArray::number(i) + "\"\n]\n");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    int expected = 10000;
    for (const QByteArray &body : posts.bodies()) {
        QVERIFY(body.size() <= 65536);
        const QList<QByteArray> texts = body.mid(2, body.size() - 5).split('\n');
        for (const QByteArray &text : texts)
            QCOMPARE(text.mid(5, 5).toInt(), expected++);
    }
    QCOMPARE(expected, 100000);
}

QTEST_GUILESS_MAIN(tst_PostQueueJoining)
#include "tst_postqueuejoining.moc"
