// The polls of PresenterCollab by name.

#include "collab/PresenterCollab.h"

#include "interface/Functions.h"

#include <QtTest/QtTest>

using Channel = PresenterCollab;
using Tarvo::OrdinalType;
using Tarvo::PollType;

class tst_PollsInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void shortNamesAreTheTables();
};

// clang-format off
void tst_PollsInterface::functions()
{
    QVERIFY(has<Tarvo::QuestionBase *(Channel::*)(PollType::POLL_TYPE, OrdinalType::ORDINAL_TYPE, int, int)>(&Channel::createPollQuestion));
    QVERIFY(has<void (Channel::*)(PollType::POLL_TYPE, OrdinalType::ORDINAL_TYPE, int, int)>(&Channel::startPoll));
    QVERIFY(has<void (Channel::*)()>(&Channel::stopPoll));
    QVERIFY(has<void (Channel::*)(QString, Tarvo::QuestionBase *)>(&Channel::sendQuestion));
    QVERIFY(has<void (Channel::*)(Tarvo::QuestionBase *)>(&Channel::sendQuestion));
}

void tst_PollsInterface::shortNamesAreTheTables()
{
    QVERIFY((std::is_same_v<Channel::POLL_TYPE, PollType::POLL_TYPE>));
    QVERIFY((std::is_same_v<Channel::ORDINAL_TYPE, OrdinalType::ORDINAL_TYPE>));
}
// clang-format on

QTEST_GUILESS_MAIN(tst_PollsInterface)
#include "tst_pollsinterface.moc"
