// The guide for hosts names every operation, signal, enumerator and field that a host uses, as the headers
// and the meta-objects have them, and none that they do not have.

#include "interface/MetaObject.h"
#include "support/Text.h"

#include "client/PresenterClient.h"
#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "model/ActivityOption.h"
#include "model/OrdinalType.h"
#include "model/PollQuestion.h"
#include "model/PollType.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

Q_DECLARE_METATYPE(const QMetaObject *)

namespace
{

const QString SIGNAL_MARK = u"signal "_s;

QString readFile(const QString &path)
{
    QFile file(QStringLiteral(TARVO_SOURCE_DIR "/") + path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

QStringList sorted(QStringList texts)
{
    texts.sort();
    return texts;
}

// ---- The page --------------------------------------------------------------------------------------

// The rows of a table whose header begins with this, or of the first one behind this heading: their
// cells, without code marks.
QVector<QStringList> rows(const QString &page, const QString &begin)
{
    QVector<QStringList> found;
    const QStringList lines = page.split(u'\n');
    int line = 0;
    while (line < lines.size() && !lines[line].startsWith(begin))
        ++line;
    while (line < lines.size() && !lines[line].startsWith(u"|--"_s))
        ++line;
    for (++line; line < lines.size() && lines[line].startsWith(u'|'); ++line) {
        QStringList cells;
        for (const QString &cell : lines[line].mid(1).chopped(1).split(u'|'))
            cells.append(QString(cell).remove(u'`').trimmed());
        found.append(cells);
    }
    return found;
}

QStringList firstCells(const QVector<QStringList> &table)
{
    QStringList found;
    for (const QStringList &row : table)
        found.append(row.first());
    return found;
}

// The fenced blocks, without their fences.
QStringList blocks(const QString &page)
{
    static const QRegularExpression block(u"^```\\w*\\n(.*?)^```$"_s,
                                          QRegularExpression::MultilineOption
                                              | QRegularExpression::DotMatchesEverythingOption);
    QStringList found;
    auto match = block.globalMatch(page);
    while (match.hasNext())
        found.append(match.next().captured(1));
    return found;
}

// ---- The headers -----------------------------------------------------------------------------------

// A class or structure without comments, from behind its opening brace on.
QString bodyIn(QString header, const QString &beginning)
{
    static const QRegularExpression comment(u"//[^\\n]*"_s);
    header.remove(comment);
    return header.mid(header.indexOf(u'{', header.indexOf(beginning)) + 1);
}

// The public declarations directly in a class that hold a parenthesis, signals with a mark in front.
QStringList publicFunctions(const QString &body)
{
    static const QRegularExpression part(
        u"(?:public|protected|private)(?: Q_SLOTS)?:|Q_SIGNALS:|[;{}]"_s);
    static const QRegularExpression noOperation(u"^(using|template|Q_)|= delete$"_s);
    QStringList found;
    QString section = u"private:"_s;
    int depth = 0;
    int from = 0;
    auto match = part.globalMatch(body);
    while (depth >= 0 && match.hasNext()) {
        const auto next = match.next();
        const QString mark = next.captured();
        const QString text = body.mid(from, next.capturedStart() - from).simplified();
        if (mark == u"}"_s) {
            --depth;
        } else if (depth == 0) {
            const bool isSignal = section == u"Q_SIGNALS:"_s;
            if (mark.size() == 1 && (isSignal || section.startsWith(u"public"_s))
                && text.contains(u'(') && !noOperation.match(text).hasMatch())
                found.append((isSignal ? SIGNAL_MARK : QString()) + text);
            if (mark.size() > 1)
                section = mark;
        }
        depth += mark == u"{"_s ? 1 : 0;
        if (depth <= 0)
            from = next.capturedEnd();
    }
    return found;
}

// "QString deviceId"
QStringList fields(const QString &body)
{
    static const QRegularExpression initial(u"\\s*=.*"_s);
    QStringList found;
    for (const QString &field : body.left(body.indexOf(u'}')).split(u';')) {
        const QString text = field.simplified().remove(initial);
        if (!text.isEmpty())
            found.append(text);
    }
    return found;
}

// ---- The library -----------------------------------------------------------------------------------

// "`A` TRUE, `B` FALSE, `?` DONTKNOW", without the marks.
QString firstThreeOptions(Tarvo::OrdinalType::ORDINAL_TYPE type)
{
    const auto question = Tarvo::pollQuestion(Tarvo::PollType::MULTIPLE, type, 3);
    QStringList options;
    for (const auto *option : question->findChildren<Tarvo::ActivityOption *>())
        options.append(option->id() + u' ' + option->optionText());
    return options.join(u", "_s);
}

} // namespace

class tst_HostGuide : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void operationsAreThoseOfTheHeader_data();
    void operationsAreThoseOfTheHeader();
    void slotsAndSignalsAreThoseOfTheMetaObject_data();
    void slotsAndSignalsAreThoseOfTheMetaObject();
    void pollTypesAreThoseOfTheLibrary();
    void ordinalTypesAreThoseOfTheLibrary();
    void fieldsAreThoseOfTheHeader_data();
    void fieldsAreThoseOfTheHeader();
    void picturesFitThePage();
    void completeHostIsShort();
    void whatTheHostPrintsIsShown();
    void whatTheKitSaysIsQuoted();

private:
    const QString m_page = readFile(u"docs/host.md"_s);
};

void tst_HostGuide::operationsAreThoseOfTheHeader_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("header");
    QTest::addColumn<int>("atLeast");
    QTest::newRow("client") << u"PresenterClient"_s << u"client/PresenterClient.h"_s << 45;
    QTest::newRow("channel") << u"PresenterCollab"_s << u"collab/PresenterCollab.h"_s << 50;
    QTest::newRow("assessment") << u"PresenterAssessment"_s << u"collab/PresenterAssessment.h"_s
                                << 10;
}

void tst_HostGuide::operationsAreThoseOfTheHeader()
{
    QFETCH(QString, name);
    QFETCH(QString, header);
    QFETCH(int, atLeast);
    const QString body = bodyIn(readFile(header), u"class TARVOCLIENT_EXPORT "_s + name);
    const QStringList declared = publicFunctions(body);
    QVERIFY2(declared.size() >= atLeast, qPrintable(QString::number(declared.size())));
    QCOMPARE(sorted(firstCells(rows(m_page, u"### "_s + name))), sorted(declared));
}

void tst_HostGuide::slotsAndSignalsAreThoseOfTheMetaObject_data()
{
    QTest::addColumn<const QMetaObject *>("meta");
    QTest::newRow("client") << &PresenterClient::staticMetaObject;
    QTest::newRow("channel") << &PresenterCollab::staticMetaObject;
    QTest::newRow("assessment") << &PresenterAssessment::staticMetaObject;
}

void tst_HostGuide::slotsAndSignalsAreThoseOfTheMetaObject()
{
    QFETCH(const QMetaObject *, meta);
    QStringList known;
    for (const QString &method : methodsOf(*meta)) {
        if (method.startsWith(u"public "_s))
            known.append(method.mid(7));
    }
    QStringList shown;
    for (const QString &row :
         firstCells(rows(m_page, u"### "_s + QLatin1String(meta->className())))) {
        if (row.startsWith(SIGNAL_MARK))
            shown.append(row);
    }
    QVERIFY(!shown.isEmpty());
    QCOMPARE(sorted(shown), sorted(known));
}

void tst_HostGuide::pollTypesAreThoseOfTheLibrary()
{
    const auto types = QMetaEnum::fromType<Tarvo::PollType::POLL_TYPE>();
    const auto table = rows(m_page, u"| `PollType`"_s);
    QCOMPARE(table.size(), types.keyCount());
    for (int i = 0; i < types.keyCount(); ++i) {
        const auto type = static_cast<Tarvo::PollType::POLL_TYPE>(types.value(i));
        QCOMPARE(table[i][0], QString::fromLatin1(types.key(i)));
        QCOMPARE(table[i][1], Tarvo::PollType::POLL_TYPE_STR().value(type));
    }
}

void tst_HostGuide::ordinalTypesAreThoseOfTheLibrary()
{
    const auto types = QMetaEnum::fromType<Tarvo::OrdinalType::ORDINAL_TYPE>();
    const auto table = rows(m_page, u"| `OrdinalType`"_s);
    QCOMPARE(table.size(), types.keyCount());
    for (int i = 0; i < types.keyCount(); ++i) {
        const auto type = static_cast<Tarvo::OrdinalType::ORDINAL_TYPE>(types.value(i));
        QCOMPARE(table[i][0], QString::fromLatin1(types.key(i)));
        QCOMPARE(table[i][1], Tarvo::OrdinalType::ORDINAL_TYPE_STR().value(type));
        QCOMPARE(table[i][2], firstThreeOptions(type));
    }
}

void tst_HostGuide::fieldsAreThoseOfTheHeader_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("structure");
    QTest::newRow("learner") << u"Tarvo::Learner"_s << u"model/Learner.h"_s
                             << u"struct Learner {"_s;
    QTest::newRow("remote") << u"Tarvo::RemoteControlMessage"_s << u"model/RemoteControlMessage.h"_s
                            << u"struct RemoteControlMessage {"_s;
    QTest::newRow("reply") << u"PresenterClient::Reply"_s << u"client/PresenterClient.h"_s
                           << u"struct Reply {"_s;
}

void tst_HostGuide::fieldsAreThoseOfTheHeader()
{
    QFETCH(QString, name);
    QFETCH(QString, header);
    QFETCH(QString, structure);
    const QStringList shown = firstCells(rows(m_page, u"| `"_s + name));
    QVERIFY(shown.size() >= 3);
    QCOMPARE(shown, fields(bodyIn(readFile(header), structure)));
}

void tst_HostGuide::picturesFitThePage()
{
    const QStringList pictures = blocks(m_page);
    QVERIFY(pictures.size() >= 7);
    for (const QString &picture : pictures) {
        for (const QString &line : picture.split(u'\n'))
            QVERIFY2(line.size() <= 100, qPrintable(line));
    }
}

void tst_HostGuide::completeHostIsShort()
{
    const QStringList programs = blocks(m_page).filter(u"int main("_s);
    QCOMPARE(programs.size(), 1);
    QVERIFY(programs.first().count(u'\n') <= 70);
}

void tst_HostGuide::whatTheHostPrintsIsShown()
{
    QVERIFY(m_page.contains(
        u"\nAda answers A\nBen answers B\nCleo answers A\nAda answers B\nBen answers A\nCleo answers B\n"_s));
}

void tst_HostGuide::whatTheKitSaysIsQuoted()
{
    QVERIFY(m_page.simplified().contains(
        u"\"The name or password cannot be sent: it holds a quotation mark or a backslash\""_s));
}

QTEST_GUILESS_MAIN(tst_HostGuide)
#include "tst_hostguide.moc"
