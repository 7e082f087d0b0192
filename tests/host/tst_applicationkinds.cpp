// The end of an application of each kind, with a class that is there.

#include "e2e/Classroom.h"
#include "e2e/HostProcess.h"
#include "support/Text.h"

#include <QtCore/QRegularExpression>

#include <memory>
#include <vector>

namespace
{

constexpr int OWN_CODE = 7;
constexpr int END_LIMIT_MS = 6000;
const QString STOP = u"/vantora/session/stop"_s;
const QStringList KINDS{u"core"_s, u"gui"_s, u"widgets"_s};

class EndingClass : public HostProcess
{
public:
    EndingClass(const QString &kind, const QString &how, const QString &url)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"QT_LOGGING_RULES"_s, u"tarvo.*=false"_s);
        setProcessEnvironment(environment);
        start(QStringLiteral(ENDING_CLASS), {kind, how, url});
    }
    // The exit code, of an end that does not take too long.
    int endedInTime() { return says(u"ending"_s) ? ended(END_LIMIT_MS) : -1; }
    // What the kit has to say; the toolkit may have something, too.
    QStringList warnings() const
    {
        return errors().split(u'\n').filter(QRegularExpression(u"^\\[LiveClass\\]"_s));
    }
};

bool saysThatASessionMayBeOpen(const EndingClass &host)
{
    return host.warnings().size() == 1 && host.warnings()[0].contains(u"may still be open"_s);
}

} // namespace

class tst_ApplicationKinds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void endingStopsTheSession_data();
    void endingStopsTheSession();
    void endingWhileStartingLeavesNoSessionUnsaid_data();
    void endingWhileStartingLeavesNoSessionUnsaid();
    void endingDoesNotWaitLongForAServiceThatHangs();

private:
    int runningSessions() { return m_classroom->get(u"sessions"_s).toArray().size(); }

    std::unique_ptr<Classroom> m_classroom;
};

void tst_ApplicationKinds::initTestCase()
{
    m_classroom = std::make_unique<Classroom>();
    QVERIFY2(!m_classroom->url().isEmpty(), qPrintable(m_classroom->errors()));
}

void tst_ApplicationKinds::endingStopsTheSession_data()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("how");
    for (const QString &kind : KINDS) {
        for (const QString &how : {u"alive"_s, u"deleted"_s, u"opening"_s})
            QTest::addRow("%s, %s", qPrintable(kind), qPrintable(how)) << kind << how;
    }
}

void tst_ApplicationKinds::endingStopsTheSession()
{
    QFETCH(QString, kind);
    QFETCH(QString, how);
    const int before = m_classroom->lastNumber();
    EndingClass host(kind, how, m_classroom->url());
    QVERIFY2(host.endedInTime() == OWN_CODE, qPrintable(host.errors()));
    QCOMPARE(host.warnings(), QStringList());

    const QJsonArray stops = m_classroom->journal(u"request"_s, {{u"path"_s, STOP}}, 1, before);
    QCOMPARE(stops.size(), 1);
    QCOMPARE(stops[0][u"status"_s].toInt(), 200);
    QCOMPARE(runningSessions(), 0);
}

void tst_ApplicationKinds::endingWhileStartingLeavesNoSessionUnsaid_data()
{
    QTest::addColumn<QString>("kind");
    for (const QString &kind : KINDS)
        QTest::addRow("%s", qPrintable(kind)) << kind;
}

// What is under way at the service is given up. Where that is the start of the session, nobody knows
// whether it has been started.
void tst_ApplicationKinds::endingWhileStartingLeavesNoSessionUnsaid()
{
    QFETCH(QString, kind);
    const int before = runningSessions();
    EndingClass host(kind, u"starting"_s, m_classroom->url());
    QVERIFY2(host.endedInTime() == OWN_CODE, qPrintable(host.errors()));
    if (host.warnings().isEmpty())
        QCOMPARE(runningSessions(), before);
    else
        QVERIFY2(saysThatASessionMayBeOpen(host), qPrintable(host.errors()));
}

// The last test: it leaves sessions behind.
void tst_ApplicationKinds::endingDoesNotWaitLongForAServiceThatHangs()
{
    m_classroom->post(u"faults"_s, {{u"path"_s, STOP}, {u"times"_s, 30}, {u"delayMs"_s, 20000}});
    std::vector<std::unique_ptr<EndingClass>> hosts;
    for (const QString &kind : KINDS)
        hosts.push_back(std::make_unique<EndingClass>(kind, u"alive"_s, m_classroom->url()));
    for (const auto &host : hosts) {
        QVERIFY2(host->endedInTime() == OWN_CODE, qPrintable(host->errors()));
        QVERIFY2(saysThatASessionMayBeOpen(*host), qPrintable(host->errors()));
    }
}

QTEST_GUILESS_MAIN(tst_ApplicationKinds)
#include "tst_applicationkinds.moc"
