#include "Part.h"

#include "collab/CollaborationMessageHandler.h"
#include "collab/MessageTemplates.h"
#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "collab/TarvoCollabMessage.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionText.h"

namespace
{

const QString JOIN =
    QStringLiteral(R"({"type":"rec","address":"a","body":{"from":"d1","type":"join",)"
                   R"("data":{"userName":"Ada","deviceType":"tablet"}}})");

// What hosts derive to see every message: the inherited slot and its functions are theirs, too.
class Handler : public CollaborationMessageHandler
{
    Q_OBJECT

public:
    using CollaborationMessageHandler::CollaborationMessageHandler;

    void hear(const QString &message) { onHandleMessage(message); }

    int own = 0;

public Q_SLOTS:
    void countJoin(Learner learner) { own += learner.deviceType == QStringLiteral("tablet"); }
};

class Channel : public PresenterCollab
{
    Q_OBJECT

public:
    using PresenterCollab::PresenterCollab;

    void end() { onClosed(false); }

    int own = 7;
};

bool hearsMessages()
{
    Handler handler(nullptr);
    QString heard;
    QObject::connect(&handler, &Handler::learnerJoin, &handler,
                     [&heard](const Tarvo::Learner &learner) {
                         heard = learner.deviceId + learner.userName + learner.deviceType;
                     });
    QObject::connect(&handler, SIGNAL(learnerJoin(Learner)), &handler, SLOT(countJoin(Learner)));
    handler.hear(JOIN);
    EXPECT(heard == QStringLiteral("d1Adatablet"));
    EXPECT(handler.own == 1);
    return true;
}

bool runsAnAssessment(PresenterCollab *collab)
{
    PresenterAssessment assessment(nullptr, collab);
    Tarvo::AssessmentOptions options(nullptr);
    assessment.start(QStringLiteral("d1"), &options);
    Tarvo::QuestionText question(nullptr);
    assessment.sendQuestion(QStringLiteral("d1"), &question);
    assessment.sendMessage(QStringLiteral("Read on."), true, false);
    int asked = 0;
    QObject::connect(&assessment, &PresenterAssessment::learnerGetQuestion,
                     [&asked](const QString &, int id) { asked = id; });
    Q_EMIT assessment.learnerGetQuestion(QStringLiteral("d1"), 2);
    assessment.stop();
    EXPECT(asked == 2 && !assessment.getAssessmentToken().isEmpty());
    return true;
}

bool fillsMessages(PresenterCollab *collab)
{
    Tarvo::TarvoCollabMessage message;
    message.settype(QStringLiteral("hello"));
    message.setdata(QVariantMap{{QStringLiteral("a"), 1}});
    collab->publishMessage(QStringLiteral("learners"), &message);
    EXPECT(message.version() == Tarvo::TarvoCollabMessage::PROTOCOL_VERSION);
    EXPECT(Tarvo::filled(Tarvo::REGISTER_MESSAGE, QStringLiteral("x"))
               .contains(QStringLiteral(R"("address":"x")")));
    return true;
}

} // namespace

bool usesChannel()
{
    int closed = 0;
    Channel channel(nullptr, QStringLiteral("http://127.0.0.1:1"), QStringLiteral("code"),
                    QStringLiteral("session"), QStringLiteral("user"));
    QObject::connect(&channel, &PresenterCollab::connectionClosed, [&closed](bool) { ++closed; });
    channel.setRobustTransport(true);
    channel.setCardImageRef(QStringLiteral("http://127.0.0.1:1/a.png"));
    EXPECT(channel.getCardImageRef(true).contains(QStringLiteral("a.png")));
    channel.startPoll(Tarvo::PollType::MULTIPLE, Tarvo::OrdinalType::ALPHA_UPPER, 4, 0);
    EXPECT(!channel.getCurrentPollId().isEmpty() && !channel.isConnected());
    channel.stopPoll();
    EXPECT(channel.messageHandler() && channel.getUserToken() == QStringLiteral("user"));
    channel.end();
    EXPECT(closed == 1 && channel.own == 7);
    return hearsMessages() && fillsMessages(&channel) && runsAnAssessment(&channel);
}

#include "channel.moc"
