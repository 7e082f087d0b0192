#include "support/Text.h"

#include "host/ClassStates.h"

#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

using namespace Tarvo;

// The table of states, against the one that hosts read.
class tst_ClassStates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyStateKnowsEveryEvent_data();
    void everyStateKnowsEveryEvent();
    void everyEventIsDocumented();
    void pictureShowsTheTable();
    void everyCallIsAnEvent_data();
    void everyCallIsAnEvent();
};

namespace
{

using Cells = QStringList;

Cells cellsOf(const QString &line)
{
    Cells cells = line.split(u'|');
    for (QString &cell : cells)
        cell = cell.trimmed();
    return cells.mid(1, cells.size() - 2); // nothing stands outside of the outer bars
}

QString textOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// The rows of the document's table of states, the first one naming the states.
QVector<Cells> documentedRows()
{
    QVector<Cells> rows;
    const QStringList lines = textOf(QStringLiteral(KIT_DOCUMENT)).split(u'\n');
    for (const QString &line : lines) {
        const bool begins = line.startsWith(u"| | SignedOut |"_s);
        if (begins || (!rows.isEmpty() && line.startsWith(u'|')))
            rows.append(cellsOf(line));
        else if (!rows.isEmpty())
            break;
    }
    rows.remove(1); // the line below the heads
    return rows;
}

template<typename Enum> int valueOf(const QString &key)
{
    return QMetaEnum::fromType<Enum>().keyToValue(key.toLatin1().constData());
}

} // namespace

void tst_ClassStates::everyStateKnowsEveryEvent_data()
{
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("event");
    QTest::addColumn<int>("next");

    const QVector<Cells> rows = documentedRows();
    for (const Cells &row : rows.mid(1)) {
        for (int i = 1; i < row.size(); ++i) {
            const QString state = rows.first().at(i);
            const int next = row.at(i) == u"-"_s ? -1 : valueOf<LiveClass::State>(row.at(i));
            QTest::addRow("%s in %s", qPrintable(row.first()), qPrintable(state))
                << valueOf<LiveClass::State>(state) << valueOf<ClassEvent::Type>(row.first())
                << next;
        }
    }
}

void tst_ClassStates::everyStateKnowsEveryEvent()
{
    QFETCH(int, state);
    QFETCH(int, event);
    QFETCH(int, next);
    QVERIFY(state >= 0 && event >= 0);
    const auto actual = nextState(LiveClass::State(state), ClassEvent::Type(event));
    QCOMPARE(actual ? int(*actual) : -1, next);
}

void tst_ClassStates::everyEventIsDocumented()
{
    const QVector<Cells> rows = documentedRows();
    QCOMPARE(rows.size() - 1, QMetaEnum::fromType<ClassEvent::Type>().keyCount());
    QCOMPARE(rows.first().size() - 1, QMetaEnum::fromType<LiveClass::State>().keyCount());
}

// "Live -> Ended by SessionGone"; what stays in its state is left out.
void tst_ClassStates::pictureShowsTheTable()
{
    const auto states = QMetaEnum::fromType<LiveClass::State>();
    const auto events = QMetaEnum::fromType<ClassEvent::Type>();
    const auto arrow = [](const QString &from, const QString &to, const QString &event) {
        return from + u" -> "_s + to + u" by "_s + event;
    };
    QStringList known;
    for (int state = 0; state < states.keyCount(); ++state) {
        for (int event = 0; event < events.keyCount(); ++event) {
            const auto next = nextState(LiveClass::State(state), ClassEvent::Type(event));
            if (next && *next != state) {
                known.append(arrow(QLatin1String(states.key(state)),
                                   QLatin1String(states.key(*next)),
                                   QLatin1String(events.key(event))));
            }
        }
    }
    QStringList shown;
    static const QRegularExpression edge(u"(\\w+) -> (\\w+) \\[label=\"([^\"]*)\"\\]"_s);
    auto found = edge.globalMatch(textOf(QStringLiteral(KIT_PICTURE)));
    while (found.hasNext()) {
        const auto match = found.next();
        for (const QString &event : match.captured(3).split(u"\\n"_s))
            shown.append(arrow(match.captured(1), match.captured(2), event));
    }
    known.sort();
    shown.sort();
    QCOMPARE(shown, known);
}

void tst_ClassStates::everyCallIsAnEvent_data()
{
    QTest::addColumn<Action::Type>("action");
    QTest::addColumn<ClassEvent::Type>("event");

    QTest::newRow("SignIn") << Action::SignIn << ClassEvent::SignIn;
    QTest::newRow("CompleteRegistration")
        << Action::CompleteRegistration << ClassEvent::CompleteRegistration;
    QTest::newRow("Start") << Action::Start << ClassEvent::Start;
    QTest::newRow("Stop") << Action::Stop << ClassEvent::Stop;
    QTest::newRow("SignOut") << Action::SignOut << ClassEvent::SignOut;
    QTest::newRow("StartPoll") << Action::StartPoll << ClassEvent::BeginActivity;
    QTest::newRow("Ask") << Action::Ask << ClassEvent::BeginActivity;
    QTest::newRow("StartAssessment") << Action::StartAssessment << ClassEvent::BeginActivity;
    QTest::newRow("StopActivity") << Action::StopActivity << ClassEvent::Wish;
    QTest::newRow("Pause") << Action::Pause << ClassEvent::Wish;
    QTest::newRow("Resume") << Action::Resume << ClassEvent::Wish;
    QTest::newRow("ShowImage") << Action::ShowImage << ClassEvent::Message;
    QTest::newRow("UploadImage") << Action::UploadImage << ClassEvent::Upload;
    QTest::newRow("ShowLesson") << Action::ShowLesson << ClassEvent::Message;
    QTest::newRow("ShowCard") << Action::ShowCard << ClassEvent::Message;
    QTest::newRow("SendText") << Action::SendText << ClassEvent::Message;
    QTest::newRow("RemoveLearner") << Action::RemoveLearner << ClassEvent::Message;
    QTest::newRow("ReconnectNow") << Action::ReconnectNow << ClassEvent::ReconnectNow;
}

void tst_ClassStates::everyCallIsAnEvent()
{
    QFETCH(Action::Type, action);
    QTEST(eventOf(action), "event");
}

QTEST_APPLESS_MAIN(tst_ClassStates)

#include "tst_classstates.moc"
