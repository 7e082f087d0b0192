// The cards and the remote display of PresenterCollab by name.

#include "collab/PresenterCollab.h"

#include "interface/Functions.h"

#include <QtTest/QtTest>

using Channel = PresenterCollab;

class tst_CardsInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void cardImageIsSetByTheHost();
};

// clang-format off
void tst_CardsInterface::functions()
{
    QVERIFY(has<void (Channel::*)(QString, QString)>(&Channel::sendCurrentLessonToRemote));
    QVERIFY(has<void (Channel::*)()>(&Channel::sendPresenterIsActiveToRemote));
    QVERIFY(has<void (Channel::*)(int, int)>(&Channel::sendCurrentCardToRemote));
    QVERIFY(has<void (Channel::*)(bool)>(&Channel::showImageCard));
    QVERIFY(has<QString (Channel::*)(bool)>(&Channel::getCardImageRef));
    QVERIFY(has<void (Channel::*)()>(&Channel::clearCardImage));
}

void tst_CardsInterface::cardImageIsSetByTheHost()
{
    QVERIFY(has<void (Channel::*)(QByteArray)>(&Channel::setCardImageData));
    QVERIFY(has<void (Channel::*)(QString)>(&Channel::setCardImageRef));
}
// clang-format on

QTEST_GUILESS_MAIN(tst_CardsInterface)
#include "tst_cardsinterface.moc"
