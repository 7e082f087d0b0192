// The page on the local classroom says what the classroom does: its options, its exit codes, who gets what
// answer without being signed in, what simulated learners answer.

#include "Pages.h"
#include "e2e/Classroom.h"

#include <QtCore/QEventLoop>
#include <QtCore/QJsonDocument>
#include <QtCore/QProcess>
#include <QtNetwork/QNetworkReply>
#include <QtTest/QtTest>

namespace
{

// A call of the REST interface that goes through when it may. What begins with a dollar sign is filled
// in.
struct Call {
    QString path;
    QString body;
    bool isGet = false;
};

const QString WHO = uR"("userName":"Ada","deviceName":"Device","deviceType":"tablet")"_s;
const QString SOURCE = u"\"sourceSystem\":\"Corvel\""_s;
const QString TOKEN_ONLY = u"{\"sessionToken\":\"$TOKEN\"}"_s;
const QString FORM =
    u"--B\r\nContent-Disposition: form-data; name=files; filename=\"a.gif\"\r\n\r\nGIF89a"
    "\r\n--B\r\n\r\nContent-Disposition: form-data; name=isTemporary\r\n"
    "Content-Type: text/plain; charset=utf-8\r\n\r\ntrue"
    "\r\n--B\r\n\r\nContent-Disposition: form-data; name=clientProvidedGUID\r\n"
    "Content-Type: text/plain; charset=utf-8\r\n\r\nid\r\n--B--\r\n\r\n"_s;

// In an order in which all of them go through.
QVector<Call> calls()
{
    const QString signIn = u"{\"userId\":\"teacher\",\"password\":\"secret\","_s + SOURCE + u'}';
    const QString code =
        u"{\"code\":\"$WHO\",\"callbackUrl\":\"http://a.example\","_s + SOURCE + u'}';
    const QString start =
        u"{\"sessionCode\":\"$CODE\",\"version\":\"3.0.0\",\"serverUrl\":\"$URL\","_s + SOURCE
        + u'}';
    const QString join = u"{\"sessionCode\":\"$CODE\",\"mode\":\"$MODE\","_s + WHO + u'}';
    return {{u"/vantora"_s, u"anything"_s},
            {u"/vantora/login/submit"_s, signIn},
            {u"/vantora/login/oauth/:provider/callback"_s,
             QString(code).replace(u"$WHO"_s, u"teacher"_s)},
            {u"/vantora/register/oauth/submit"_s,
             u"{\"registrationToken\":\"$REGISTRATION\","_s + SOURCE + u'}'},
            {u"/vantora/login/submit"_s, signIn}, // whoever has registered is signed in by now
            {u"/vantora/login/keepSessionAlive"_s, u"anything"_s},
            {u"/vantora/login/user"_s, u"{}"_s},
            {u"/vantora/session/create"_s, u"{}"_s},
            {u"/vantora/session/getcollabserverurl"_s, u"{}"_s},
            {u"/vantora/config/findTenantFeatureDetails"_s, u"{}"_s},
            {u"/vantora/session/start"_s, start},
            {u"/vantora/classroom/session/join"_s, join},
            {u"/vantora/session/getusers"_s, TOKEN_ONLY},
            {u"/vantora/resource/uploadResourceFile"_s, FORM},
            {u"/vantora/resource/downloadResourceFile"_s, u"resourceId=$RESOURCE"_s, true},
            {u"/vantora/session/stop"_s, TOKEN_ONLY},
            {u"/vantora/login/logout"_s, u"{}"_s}};
}

QString jsonText(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

// How the classroom ends with these arguments.
int exitCode(const QStringList &arguments, QString *output = nullptr)
{
    QProcess program;
    program.start(QStringLiteral(NODE_PROGRAM),
                  QStringList{QStringLiteral(CLASSROOM_PROGRAM)} + arguments);
    if (!program.waitForFinished())
        qFatal("The classroom does not end");
    if (output)
        *output = QString::fromUtf8(program.readAllStandardOutput());
    return program.exitStatus() == QProcess::NormalExit ? program.exitCode() : -1;
}

} // namespace

class tst_ClassroomPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void optionsAreThoseOfTheProgram();
    void defaultsAreThoseOfTheProgram();
    void exitCodesAreThoseOfTheProgram();
    void everyCallIsNamed();
    void callsWithoutASignIn_data() { eachCall(); }
    void callsWithoutASignIn();
    void callsWithASignIn_data() { eachCall(); }
    void callsWithASignIn();
    void errorKeysAndStatuses();
    void learnersAnswerQuestions_data() { eachKind(); }
    void learnersAnswerQuestions();
    void learnersAnswerPolls_data() { eachKind(); }
    void learnersAnswerPolls();
    void optionsOfAQuestionComeFirst();
    void remoteCommands();
    void journalFields();
    void controlStatuses_data();
    void controlStatuses();
    void stockSettingsAreThoseOfTheServer();

private:
    static void eachCall();
    void eachKind();
    QStringList rowOf(const QString &path, const QString &mode) const;
    // The body of a reply; the status, or in its place the status and the error key.
    QJsonValue send(Call call, bool isSignedIn, QString *outcome = nullptr);
    QJsonValue send(const QString &path, bool isSignedIn, const QString &mode, QString *outcome);
    QString filledIn(QString text);
    void beginSession();
    QJsonObject answerTo(const QString &type, const QJsonObject &asked);

    const QString m_page = treeFile(u"docs/classroom.md"_s);
    Classroom m_classroom{words(u"--think 0 --join-every 0 --seed 2"_s)};
    QNetworkAccessManager m_manager;
    QString m_help;
    QString m_code;
    QString m_token;
    QString m_resource;
    int m_registrations = 0;
};

void tst_ClassroomPage::initTestCase()
{
    QVERIFY2(!m_classroom.url().isEmpty(), qPrintable(m_classroom.errors()));
    QCOMPARE(exitCode({u"--help"_s}, &m_help), 0);
    beginSession();
    QVERIFY(!m_token.isEmpty());
    const Call upload{u"/vantora/resource/uploadResourceFile"_s, FORM};
    m_resource = send(upload, true)[u"data"_s][u"id"_s].toString();
    QVERIFY(!m_resource.isEmpty());
}

// ---- The command ---------------------------------------------------------------------------------

// Each with what follows it.
void tst_ClassroomPage::optionsAreThoseOfTheProgram()
{
    QStringList described;
    for (const QStringList &row : tableRows(section(m_page, u"## Options"_s)))
        described += codeSpans(row.first());
    const QStringList known = allCaptured(m_help, u"^  (--[a-z-]+(?: [A-Z:=]+)*)"_s);
    QVERIFY(known.size() > 20);
    QCOMPARE(described.join(u'\n'), known.join(u'\n'));
}

void tst_ClassroomPage::defaultsAreThoseOfTheProgram()
{
    const auto rows = tableRows(section(m_page, u"## Options"_s));
    int found = 0;
    auto option = QRegularExpression(u"^  --([a-z-]+)(?:\\n    |[^\\n])*\\((.+)\\)$"_s,
                                     QRegularExpression::MultilineOption)
                      .globalMatch(m_help);
    while (option.hasNext()) {
        const auto match = option.next();
        const QString value = match.captured(2);
        for (const QStringList &row : rows) {
            const QString meaning = QString(row.value(1)).remove(u'`');
            const bool isTold =
                meaning.contains(u'(' + value) || meaning.contains(u", %1)"_s.arg(value));
            if (row.first().contains(u"`--%1"_s.arg(match.captured(1))) && !isTold)
                QFAIL(qPrintable(u"--%1 (%2): %3"_s.arg(match.captured(1), value, meaning)));
        }
        ++found;
    }
    QCOMPARE(found, 17);
}

void tst_ClassroomPage::exitCodesAreThoseOfTheProgram()
{
    const QString taken = m_classroom.url().section(u':', -1);
    const QString none = u"/nowhere/at/all"_s;
    QString output;
    QCOMPARE(exitCode({u"--nonsense"_s}, &output), 2);
    QCOMPARE(output, QString());
    QCOMPARE(exitCode({u"--port"_s, u"many"_s}), 2);
    QCOMPARE(exitCode({u"--tls"_s, none, none}), 2);
    QCOMPARE(exitCode({u"--port"_s, taken}), 1);
    QCOMPARE(exitCode({u"--port"_s, u"0"_s, u"--host"_s, u"192.0.2.1"_s}), 1);
    QCOMPARE(exitCode({u"--port"_s, u"0"_s, u"--record"_s, none}), 1);
    QVERIFY(
        m_page.contains(u"\n| 2 | an unknown option, a value that it does not take, a certificate "
                        "or key that cannot be read |\n| 1 | an address that it cannot listen on, "
                        "a port that is taken, a record that cannot be written |\n"_s));
}

// ---- The REST interface --------------------------------------------------------------------------

void tst_ClassroomPage::eachCall()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("mode");
    for (const Call &call : calls()) {
        const bool isJoin = call.path.endsWith(u"/join"_s);
        const QStringList modes{u"learner"_s, u"controller"_s, u"presenter"_s};
        for (const QString &mode : isJoin ? modes : QStringList{QString()})
            QTest::addRow("%s %s", qPrintable(call.path), qPrintable(mode)) << call.path << mode;
    }
}

// The row of the table for those who are not signed in.
QStringList tst_ClassroomPage::rowOf(const QString &path, const QString &mode) const
{
    for (const QStringList &row : tableRows(section(m_page, u"## Signing in"_s))) {
        const QStringList named = codeSpans(row.value(1));
        if (named.contains(path) && (mode.isEmpty() || named.contains(mode)))
            return row;
    }
    return {};
}

void tst_ClassroomPage::everyCallIsNamed()
{
    QStringList routes;
    for (const QString &file : {u"signin"_s, u"sessions"_s, u"resources"_s})
        routes += allCaptured(treeFile(u"classroom/src/rest/%1.js"_s.arg(file)),
                              u"'(/vantora[^']*)': \\{"_s);
    QStringList called;
    for (const Call &call : calls())
        called.append(call.path);
    QCOMPARE(sortedOnce(called), sortedOnce(routes));
}

void tst_ClassroomPage::callsWithoutASignIn()
{
    QFETCH(QString, path);
    QFETCH(QString, mode);
    QString outcome;
    send(path, false, mode, &outcome);
    const QString told = rowOf(path, mode).value(0).remove(u'`');
    QCOMPARE(told.section(u',', 0, 0), outcome);
}

void tst_ClassroomPage::callsWithASignIn()
{
    QFETCH(QString, path);
    QFETCH(QString, mode);
    QString outcome;
    send(path, true, mode, &outcome);
    QCOMPARE(outcome, u"200"_s);
    if (path.endsWith(u"/stop"_s))
        beginSession();
}

void tst_ClassroomPage::errorKeysAndStatuses()
{
    QStringList known;
    for (const QString &file : {u"reply"_s, u"rest"_s}) {
        const QString source = treeFile(u"classroom/src/rest/%1.js"_s.arg(file));
        for (const QString &error : allCaptured(source, u"RequestError\\((\\d+, '[\\w.]+')"_s))
            known.append(QString(error).remove(u'\'').replace(u", "_s, u" "_s));
    }
    QStringList told;
    for (const QStringList &row : tableRows(section(m_page, u"## Signing in"_s))) {
        if (row.size() == 3)
            told.append(row[1] + u' ' + codeSpans(row[0]).value(0));
    }
    QCOMPARE(told.size(), 24);
    QCOMPARE(sortedOnce(told).join(u'\n'), sortedOnce(known).join(u'\n'));
}

QString tst_ClassroomPage::filledIn(QString text)
{
    if (text.contains(u"$REGISTRATION"_s)) {
        const QString code = u"new-%1"_s.arg(++m_registrations);
        const Call ask{u"/vantora/login/oauth/:provider/callback"_s,
                       QString(calls()[2].body).replace(u"teacher"_s, code)};
        const QJsonValue reply = send(ask, false);
        text.replace(u"$REGISTRATION"_s, reply[u"data"_s][u"registrationToken"_s].toString());
    }
    return text.replace(u"$CODE"_s, m_code)
        .replace(u"$TOKEN"_s, m_token)
        .replace(u"$RESOURCE"_s, m_resource)
        .replace(u"$URL"_s, m_classroom.url());
}

QJsonValue tst_ClassroomPage::send(const QString &path, bool isSignedIn, const QString &mode,
                                   QString *outcome)
{
    for (Call call : calls()) {
        call.body.replace(u"$MODE"_s, mode);
        if (call.path == path)
            return send(call, isSignedIn, outcome);
    }
    return {};
}

QJsonValue tst_ClassroomPage::send(Call call, bool isSignedIn, QString *outcome)
{
    call.body = filledIn(call.body);
    call.path.replace(u":provider"_s, u"google"_s);
    const QString query = call.isGet ? u'?' + call.body : QString();
    QNetworkRequest request(QUrl(m_classroom.url() + call.path + query));
    const bool isControl = call.path.startsWith(u"/classroom/"_s);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      isControl ? u"application/json"_s : u"multipart/form-data; boundary=B"_s);
    request.setRawHeader("Connection", "close"); // a post over a kept connection takes 40 ms
    for (const auto cookies :
         {QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::CookieSaveControlAttribute})
        request.setAttribute(cookies,
                             isSignedIn ? QNetworkRequest::Automatic : QNetworkRequest::Manual);
    const std::unique_ptr<QNetworkReply> reply(
        call.isGet ? m_manager.get(request) : m_manager.post(request, call.body.toUtf8()));
    QEventLoop loop;
    connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const QJsonValue json = QJsonDocument::fromJson(reply->readAll()).object();
    if (outcome) {
        const QString status =
            reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toString();
        *outcome = (status + u' ' + json[u"errorMsgKeys"_s][0].toString()).trimmed();
    }
    return json;
}

void tst_ClassroomPage::beginSession()
{
    send(u"/vantora/login/submit"_s, true, {}, nullptr);
    m_code = send(u"/vantora/session/create"_s, true, {}, nullptr)[u"data"_s][u"sessionCode"_s]
                 .toString();
    m_token = send(u"/vantora/session/start"_s, true, {}, nullptr)[u"data"_s][u"sessionToken"_s]
                  .toString();
}

// ---- Simulated devices ---------------------------------------------------------------------------

void tst_ClassroomPage::eachKind()
{
    QTest::addColumn<QString>("kind");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QString>("pick");
    int count = 0;
    for (const QStringList &row : tableRows(section(m_page, u"## Simulated learners"_s))) {
        if (row.size() != 4)
            continue;
        const QString kind = codeSpans(row[0]).value(0, u"any with options"_s);
        const QString answer = codeSpans(row[2]).value(0);
        const QString pick = codeSpans(row[3]).value(0);
        QTest::newRow(qPrintable(kind)) << kind << answer << pick;
        ++count;
    }
    QCOMPARE(count, 8);
}

// What the first learner of a new session answers, whose pick is the seed.
QJsonObject tst_ClassroomPage::answerTo(const QString &type, const QJsonObject &asked)
{
    beginSession();
    const int since = m_classroom.lastNumber();
    const QJsonObject message{{u"sessionToken"_s, m_token},
                              {u"address"_s, u".learner"_s},
                              {u"body"_s, QJsonObject{{u"type"_s, type}}},
                              {u"text"_s, jsonText(asked)}};
    send({u"/classroom/learners"_s, TOKEN_ONLY}, true);
    send({u"/classroom/publish"_s, jsonText(message)}, true);
    const QString answers = type == u"poll"_s ? u"pollResponse"_s : u"questionResponse"_s;
    return m_classroom.journal(u"publish"_s, {{u"type"_s, answers}}, 1, since)
        .at(0)[u"data"_s]
        .toObject();
}

// The ids of the options that an answer has, as hosts get them.
static QString chosenIn(const QJsonObject &answer)
{
    QStringList ids;
    for (const QJsonValue chosen : answer[u"optionAnswers"_s].toArray())
        ids.append(chosen[u"activityOptionId"_s].toString());
    return ids.join(u',');
}

void tst_ClassroomPage::learnersAnswerQuestions()
{
    QFETCH(QString, kind);
    QFETCH(QString, answer);
    QJsonArray options;
    for (const QString &id : {u"1"_s, u"2"_s, u"3"_s})
        options.append(QJsonObject{{u"id"_s, id}});
    const bool hasOptions =
        QStringList{u"any with options"_s, u"multiple"_s, u"sort"_s}.contains(kind);
    const QJsonObject told =
        answerTo(u"questionStart"_s,
                 {{u"id"_s, u"q"_s},
                  {u"type"_s, kind},
                  {u"numberOfCorrectOptions"_s, 2},
                  {u"noOfDecimals"_s, 1},
                  {u"activityOptions"_s, hasOptions ? options : QJsonArray()}});
    QCOMPARE(hasOptions ? chosenIn(told) : told[u"answer"_s].toString(), answer);
    QCOMPARE(told[u"answer"_s].toString().isEmpty(), hasOptions);
}

void tst_ClassroomPage::learnersAnswerPolls()
{
    QFETCH(QString, kind);
    QFETCH(QString, pick);
    const QJsonObject metadata{{u"options"_s, QJsonArray{1, 2, 3}}};
    const QJsonObject told =
        answerTo(u"poll"_s, {{u"id"_s, u"p"_s}, {u"type"_s, kind}, {u"metadata"_s, metadata}});
    QCOMPARE(jsonText(told[u"pick"_s].toObject()), pick);
}

void tst_ClassroomPage::optionsOfAQuestionComeFirst()
{
    const QJsonArray options{QJsonObject{{u"id"_s, u"yes"_s}}};
    const QJsonObject told =
        answerTo(u"questionStart"_s, {{u"type"_s, u"creative"_s}, {u"activityOptions"_s, options}});
    QCOMPARE(chosenIn(told), u"yes"_s);
    QVERIFY(inOneLine(m_page).contains(
        u"one that has options, of whatever kind it is, with options, so "
        "a `creative` question may get one"_s));
}

void tst_ClassroomPage::remoteCommands()
{
    const QString told = inOneLine(section(m_page, u"## The simulated remote"_s));
    const QString known = m_help.section(u"Remote commands: "_s, 1).section(u'.', 0, 0);
    QVERIFY2(told.contains(u'`' + known.split(u", "_s).join(u"`, `"_s) + u"`."_s),
             qPrintable(known));
}

// ---- Looking in ----------------------------------------------------------------------------------

// Of all that has happened here so far.
void tst_ClassroomPage::journalFields()
{
    m_classroom.remove(u"learners"_s);
    QMap<QString, QStringList> told;
    for (const QStringList &row : tableRows(section(m_page, u"## The journal"_s))) {
        for (const QString &kind : codeSpans(row.first()))
            told[kind] = codeSpans(row.value(1)) + QStringList{u"n"_s, u"time"_s, u"kind"_s};
    }
    told[u"received"_s] += told[u"publish"_s];
    QStringList seen;
    QStringList untold;
    const QJsonArray entries = m_classroom.get(u"journal"_s)[u"entries"_s].toArray();
    for (const QJsonValue &entry : entries) {
        const QString kind = entry[u"kind"_s].toString();
        seen.append(kind);
        for (const QString &field : entry.toObject().keys()) {
            if (!told[kind].contains(field))
                untold.append(kind + u'.' + field);
        }
    }
    QCOMPARE(sortedOnce(untold).join(u' '), QString());
    QCOMPARE(sortedOnce(seen).join(u' '), u"close device open publish received register request"_s);
}

void tst_ClassroomPage::controlStatuses_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("status");
    const auto row = [](const char *name, const QString &path, const QString &body,
                        const QString &words, const QString &status) {
        QTest::newRow(name) << path << body << words << status;
    };
    row("session", u"learners"_s, u"{\"sessionToken\":\"x\"}"_s,
        u"404 when there is no such session"_s, u"404"_s);
    row("no object", u"learners"_s, u"[]"_s, u"400 when the body is no JSON object"_s, u"400"_s);
    row("no text", u"publish"_s, u"{}"_s, u"object or lacks a text"_s, u"400"_s);
    row("number", u"learners"_s, u"{\"count\":1.5}"_s, u"or when a number is none or too large"_s,
        u"400"_s);
    row("method", u"journal"_s, u"{}"_s, u"405 when the path does not take the method"_s, u"405"_s);
    row("nothing", u"nothing"_s, u"{}"_s, u"is answered with 404 and a line of text"_s, u"404"_s);
    row("faults", u"faults"_s, u"{\"path\":\"/vantora/none\"}"_s,
        u"Everything else succeeds with 200."_s, u"200"_s);
}

void tst_ClassroomPage::controlStatuses()
{
    QFETCH(QString, path);
    QFETCH(QString, body);
    QFETCH(QString, words);
    QFETCH(QString, status);
    QString outcome;
    send({u"/classroom/"_s + path, body}, true, &outcome);
    QCOMPARE(outcome, status);
    QVERIFY(inOneLine(section(m_page, u"## Control endpoints"_s)).contains(words));
}

// Those that the SockJS server comes with.
void tst_ClassroomPage::stockSettingsAreThoseOfTheServer()
{
    const QString server = treeFile(u"classroom/node_modules/sockjs/lib/sockjs.js"_s);
    QVERIFY(server.contains(u"disconnect_delay: 5000,"_s));
    QVERIFY(server.contains(u"heartbeat_delay: 25000,"_s));
    QVERIFY(server.contains(u"response_limit: 128 * 1024,"_s));
    QVERIFY(inOneLine(m_page).contains(
        u"`disconnect_delay` 5 s, `heartbeat_delay` 25 s, `response_limit` 128 KiB"_s));
    QVERIFY(
        inOneLine(treeFile(u"docs/operating.md"_s))
            .contains(
                u"`disconnect_delay` 5 s, `heartbeat_delay` 25 s, a stream that ends after 128 KiB"_s));
}

QTEST_GUILESS_MAIN(tst_ClassroomPage)
#include "tst_classroompage.moc"
