#include "e2e/TerminalProcess.h"
#include "support/Promptness.h"
#include "support/Text.h"

#include <QtCore/QEventLoop>
#include <QtCore/QRegularExpression>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkReply>

// What learners send that is meant to do harm: the teacher can go on typing, and the terminal gets no
// command that the program has not given.
class tst_PresenterHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void typingGoesOnWhileAnswersFlood_data();
    void typingGoesOnWhileAnswersFlood();
    void filesCannotCommandTheTerminal_data();
    void filesCannotCommandTheTerminal();
    void repliesCannotCommandTheTerminal_data();
    void repliesCannotCommandTheTerminal();
    void namesCannotCommandTheTerminal();
};

namespace
{

constexpr int LEARNERS = 301;
constexpr int ANSWER_LENGTH = 10000;
constexpr int WORDS = 11 * 1024 * 1024 / 6; // of the longest answer
constexpr qint64 KEY_MS = 100;              // a key is not shown later
constexpr qint64 COMMAND_MS = 2000;         // nor what a command has done
constexpr int LONGEST_MS = 20000;           // and nobody waits longer for it
constexpr int FLOOD_MS = 120000;            // until every answer has been counted, at most

QByteArray quoted(const QString &text)
{
    QByteArray json("\"");
    for (const QChar unit : text) {
        const bool isPlain =
            unit.unicode() >= ' ' && unit.unicode() < 0x7F && unit != u'"' && unit != u'\\';
        json += isPlain ? QByteArray(1, char(unit.unicode()))
                        : "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
    }
    return json + '"';
}

QByteArray published(const QString &from, const char *type, const QByteArray &data)
{
    return R"({"address":".presenter","body":{"type":")" + QByteArray(type) + R"(","from":)"
        + quoted(from) + R"(,"data":)" + data + "}}";
}

QByteArray answered(const QString &from, const QString &question, const QString &answer)
{
    return published(from, "questionResponse",
                     R"({"responseTime":7,"questionId":)" + quoted(question) + R"(,"answer":)"
                         + quoted(answer) + "}");
}

// Some of everything that a terminal could take for a command, or that takes long to measure.
QString hostileText(int number)
{
    static const QStringList parts{u"\x1b[2J\x1b[31m"_s,
                                   u"\x1b]0;title\x07"_s,
                                   QString(QChar(0x9B)) + u"5n"_s,
                                   u"\u202E\u2066\u200F"_s,
                                   u"e\u0301\u0302\u0303"_s,
                                   u"👩\u200D👧 👍🏽"_s,
                                   QString(2, QChar(0)),
                                   u"שלום عليكم "_s,
                                   u"\r\n\t\b\x7f"_s,
                                   u"\u2028\u2029"_s,
                                   QString(QChar(0xD800)) + u"x"_s + QString(QChar(0xDC00)),
                                   u"words of several "_s,
                                   u"\U000E0041\U000E007F"_s,
                                   QString(40, QChar(0x0336))};
    QString text = u"%1 "_s.arg(number);
    for (int i = number; text.size() < ANSWER_LENGTH; i += 1 + number % 5)
        text += parts.at(i % parts.size());
    return text;
}

// One of everybody, the first of 11 MB.
QVector<QByteArray> hostileAnswers(const QJsonArray &learners, const QString &question)
{
    QVector<QByteArray> answers;
    for (int i = 0; i < LEARNERS; ++i) {
        const QString answer = i == 0 ? u"words "_s.repeated(WORDS) : hostileText(i);
        answers.append(answered(learners.at(i)[u"deviceId"_s].toString(), question, answer));
    }
    return answers;
}

// Posts the first message, then all the others at once, from a thread of its own.
class Publisher : public QThread
{
public:
    Publisher(const Classroom &classroom, QVector<QByteArray> messages)
        : m_url(classroom.url() + u"/classroom/publish"_s), m_messages(std::move(messages))
    {
        start();
    }
    ~Publisher() override { wait(); }

protected:
    void run() override
    {
        QNetworkAccessManager manager;
        post(manager, m_messages.mid(0, 1));
        post(manager, m_messages.mid(1));
    }

private:
    void post(QNetworkAccessManager &manager, const QVector<QByteArray> &messages)
    {
        QNetworkRequest request(m_url);
        request.setHeader(QNetworkRequest::ContentTypeHeader, u"application/json"_s);
        QEventLoop loop;
        int waiting = messages.size();
        for (const QByteArray &message : messages) {
            const QNetworkReply *reply = manager.post(request, message);
            connect(reply, &QNetworkReply::finished, &loop, [&loop, &waiting, reply] {
                if (reply->error() != QNetworkReply::NoError)
                    qWarning() << "not published:" << reply->errorString();
                if (--waiting == 0)
                    loop.quit();
            });
        }
        if (waiting > 0)
            loop.exec();
    }

    const QUrl m_url;
    const QVector<QByteArray> m_messages;
};

// What has been written beside text and the program's own sequences: the code points, or nothing.
QString foreign(QString written)
{
    static const QRegularExpression own(u"\x1b\\[[0-9]*[AC]|\x1b\\[J|\x1b\\[H\x1b\\[2J|[\r\n]"_s);
    QStringList codes;
    const QVector<uint> characters = written.remove(own).toUcs4();
    for (const uint character : characters) {
        const bool isJoiner = character == 0x200C || character == 0x200D;
        const QChar::Category category = QChar::category(character);
        const bool isShown = category != QChar::Other_Control && category != QChar::Other_Format
            && category != QChar::Other_Surrogate && category != QChar::Separator_Line
            && category != QChar::Separator_Paragraph;
        if (!isShown && !isJoiner)
            codes.append(QString::number(character, 16));
    }
    return codes.mid(0, 20).join(u' ');
}

// Types a key and returns how long it took to be shown, in ms; -1 when it was not. What the terminal got
// meanwhile goes to `written`.
qint64 heldBy(TerminalProcess &presenter, const QByteArray &key, const QString &line,
              QString *written)
{
    presenter.forget();
    QElapsedTimer clock;
    clock.start();
    presenter.type(key);
    const QString echo = u"> "_s + line + u"\r"_s;
    QTimer alarm; // a terminal takes what comes at once: waiting does not sleep
    alarm.start(LONGEST_MS);
    while (!presenter.screen().contains(echo) && clock.elapsed() < LONGEST_MS)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    const qint64 held = presenter.screen().contains(echo) ? clock.elapsed() : -1;
    *written += presenter.screen();
    return held;
}

// What a teacher at a flooded terminal has seen, and for how long, in ms.
struct Watched {
    qint64 longestKey = 0;
    qint64 longestCommand = 0;
    QString written;
};

// Types keys and commands until the text is shown.
void typeUntil(TerminalProcess &presenter, const QString &text, Watched *watched)
{
    QElapsedTimer clock;
    QElapsedTimer command;
    clock.start();
    command.start();
    presenter.type("message all Hello\r");
    for (bool isShown = false; !isShown && clock.elapsed() < FLOOD_MS;) {
        QString now;
        for (const auto &[key, line] : {std::pair("x", u"x"_s), std::pair("\x7f", QString())}) {
            const qint64 held = heldBy(presenter, key, line, &now);
            QVERIFY2(held >= 0, qPrintable(presenter.screen().right(1000)));
            watched->longestKey = qMax(watched->longestKey, held);
        }
        if (now.contains(u"Sent to "_s)) {
            watched->longestCommand = qMax(watched->longestCommand, command.restart());
            presenter.type("message all Hello\r");
        }
        isShown = now.contains(text);
        watched->written += now;
    }
}

// A lesson in which everybody answers at once, and the teacher types all the while.
void teachInFlood(const QStringList &options, Promptness *promptness)
{
    Classroom classroom(words(u"--think 900000 --join-every 1 --learners %1"_s.arg(LEARNERS)));
    TerminalProcess presenter;
    presenter.run(classroom, options);
    QVERIFY(presenter.shows(u"%1 learners now"_s.arg(LEARNERS)));
    presenter.type("ask Why?\r");
    QVERIFY(presenter.shows(u"Question: 0 of %1 answered"_s.arg(LEARNERS)));
    const QString question =
        classroom.receivedOne(u"questionStart"_s)[u"data"_s][u"id"_s].toString();
    const Publisher publisher(classroom, hostileAnswers(classroom.learners(), question));
    Watched watched;
    typeUntil(presenter, u"Question: %1 of %1 answered"_s.arg(LEARNERS), &watched);
    if (QTest::currentTestFailed())
        return;
    QElapsedTimer who;
    presenter.forget();
    who.start();
    presenter.type("who\r");
    QVERIFY(presenter.shows(u"%1 of %1 learners answered:"_s.arg(LEARNERS)));
    const qint64 told = who.elapsed();
    QVERIFY(presenter.shows(u"\\x1b[2J"_s));
    QCOMPARE(foreign(watched.written + presenter.screen()), QString());
    qInfo("a key was shown after %d ms at most, a command took %d ms, who %d ms",
          int(watched.longestKey), int(watched.longestCommand), int(told));
    QVERIFY(watched.longestCommand > 0);
    promptness->take(watched.longestKey, KEY_MS);
    promptness->take(watched.longestCommand, COMMAND_MS);
    promptness->take(told, COMMAND_MS);
}

} // namespace

void tst_PresenterHostile::typingGoesOnWhileAnswersFlood_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("quiet") << QStringList();
    QTest::newRow("verbose") << QStringList{u"--verbose"_s};
}

void tst_PresenterHostile::typingGoesOnWhileAnswersFlood()
{
    QFETCH(QStringList, options);
    Promptness promptness;
    while (promptness.isOpen()) {
        teachInFlood(options, &promptness);
        if (QTest::currentTestFailed())
            return;
    }
    VERIFY_PROMPT(promptness);
}

// ---- Commands to the terminal --------------------------------------------------------------------

void tst_PresenterHostile::filesCannotCommandTheTerminal_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QString>("shown");
    QTest::newRow("command") << QByteArray("\x1b[2Jfly\n") << u"'\\x1b[2Jfly'"_s;
    QTest::newRow("one byte") << QByteArray("poll \xC2\x9B"
                                            "5n\n")
                              << u"'\\x9b5n'"_s;
    QTest::newRow("echo") << QByteArray("lesson L-1 a\xE2\x80\xAE"
                                        "b\nquit\n")
                          << u"> lesson L-1 a\\u202eb"_s;
    QTest::newRow("file") << QByteArray("assessment '\x1b]0;x\x07.json'\n")
                          << u"\\x1b]0;x\\x07.json"_s;
}

void tst_PresenterHostile::filesCannotCommandTheTerminal()
{
    QFETCH(QByteArray, lines);
    QFETCH(QString, shown);
    Classroom classroom;
    const QTemporaryDir folder;
    TerminalProcess presenter;
    presenter.run(classroom, {u"--script"_s, writeFile(folder, u"\x1b[5m.txt"_s, lines)});
    QVERIFY2(presenter.shows(shown), qPrintable(presenter.screen()));
    QVERIFY(presenter.ended() >= 0);
    QCOMPARE(foreign(presenter.screen()), QString());
}

void tst_PresenterHostile::repliesCannotCommandTheTerminal_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("quiet") << QStringList();
    QTest::newRow("verbose") << QStringList{u"--verbose"_s};
}

void tst_PresenterHostile::repliesCannotCommandTheTerminal()
{
    QFETCH(QStringList, options);
    Classroom classroom;
    classroom.fail(
        u"/vantora/session/create"_s, 200,
        u"{\"success\":false,\"errors\":[{\"key\":\"e\\u001b[31m\u202e\"}],\"raw\":\"\x1b]0;x\x07\"}"_s);
    TerminalProcess presenter;
    presenter.run(classroom, options);
    QCOMPARE(presenter.ended(), 1);
    QVERIFY2(presenter.shows(u"tarvo-presenter: Starting the class failed"_s),
             qPrintable(presenter.screen()));
    QCOMPARE(presenter.screen().contains(u"\\x1b]0;x\\x07"_s), !options.isEmpty());
    QCOMPARE(foreign(presenter.screen()), QString());
}

void tst_PresenterHostile::namesCannotCommandTheTerminal()
{
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    QVERIFY(classroom.presenterIsRegistered());
    const Publisher publisher(
        classroom,
        {published(u"d\x1b-1"_s, "join",
                   R"({"userName":"\u001b[2J\nAda\u202e","deviceType":"\u009b5n"})")});
    QVERIFY2(presenter.shows(u"+ \\x1b[2J\\nAda\\u202e (\\x9b5n), 1 learner now"_s),
             qPrintable(presenter.screen()));
    presenter.type("learners\r");
    QVERIFY(presenter.shows(u"device d\\x1b-1"_s));
    presenter.type("message \t");
    QVERIFY(presenter.shows(u"message "_s));
    QCOMPARE(foreign(presenter.screen()), QString());
}

QTEST_GUILESS_MAIN(tst_PresenterHostile)
#include "tst_presenterhostile.moc"
