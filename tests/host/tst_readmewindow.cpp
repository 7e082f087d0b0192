// The README's window at work, offscreen, against a class of five.

#include "e2e/Classroom.h"
#include "e2e/HostProcess.h"
#include "support/Text.h"

class tst_ReadmeWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void windowShowsTheClassAndStopsItsSession();
    void windowTellsFailures();

private:
    // The exit code of the window, which counts what it fails in.
    static int exitCode(const Classroom &classroom, const QString &password,
                        const QString &function);
};

int tst_ReadmeWindow::exitCode(const Classroom &classroom, const QString &password,
                               const QString &function)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
    HostProcess window;
    window.setProcessEnvironment(environment);
    window.start(QStringLiteral(WATCHED_WINDOW),
                 {classroom.url(), u"teacher"_s, password, function});
    const int code = window.ended();
    if (code != 0)
        qWarning("%s%s", qPrintable(window.output()), qPrintable(window.errors()));
    return code;
}

void tst_ReadmeWindow::windowShowsTheClassAndStopsItsSession()
{
    Classroom classroom({u"--learners"_s, u"5"_s, u"--join-every"_s, u"10"_s});
    QVERIFY2(!classroom.url().isEmpty(), qPrintable(classroom.errors()));
    QCOMPARE(exitCode(classroom, u"secret"_s, u"classIsShown"_s), 0);
    QCOMPARE(classroom.received(u"pollStop"_s, 5).size(), 5);
    QCOMPARE(classroom.requestsTo(u"/vantora/session/stop"_s), 1);
    QCOMPARE(classroom.get(u"sessions"_s).toArray(), QJsonArray());
}

void tst_ReadmeWindow::windowTellsFailures()
{
    Classroom classroom;
    QVERIFY2(!classroom.url().isEmpty(), qPrintable(classroom.errors()));
    QCOMPARE(exitCode(classroom, u"wrong"_s, u"failureIsToldInWords"_s), 0);
}

QTEST_GUILESS_MAIN(tst_ReadmeWindow)
#include "tst_readmewindow.moc"
