#include "Part.h"

#include "host/LiveClass.h"

#include <QtCore/QBuffer>
#include <QtCore/QEventLoop>
#include <QtCore/QMetaEnum>

using namespace Tarvo;

namespace
{

class Lesson : public LiveClass
{
    Q_OBJECT

public:
    using LiveClass::LiveClass;

    int own = 3;
};

// Waits for the operation, and returns why it has failed. The application's own loop would end the class with itself.
Failure failureOf(const Operation &operation)
{
    Failure failure;
    QEventLoop loop;
    const auto failed = [&failure, &loop](const Failure &why) {
        failure = why;
        loop.quit();
    };
    operation.then(
        &loop, [&loop] { loop.quit(); }, failed);
    loop.exec();
    return failure;
}

bool isRefused(LiveClass *lesson)
{
    int told = 0;
    QObject here; // ends the connection with the function
    QObject::connect(lesson, &LiveClass::failed, &here, [&told](const Failure &) { ++told; });
    const Operation operation = lesson->signIn(QStringLiteral("http://127.0.0.1:1"),
                                               QStringLiteral("teacher"), QStringLiteral("secret"));
    EXPECT(operation.id() > 0);
    const Failure failure = failureOf(operation);
    EXPECT(operation.isFinished() && told == 1);
    EXPECT(failure.action() == Action::SignIn && failure.reason() == Failure::Refused);
    EXPECT(!failure.message().isEmpty() && !failure.advice().isEmpty() && !failure.isRepeatable());
    EXPECT(operation.failure().reason() == Failure::Refused);
    return true;
}

bool refusesAssessment(LiveClass *lesson)
{
    AssessmentQuestion question;
    question.kind = PollType::SCALE;
    question.choices = {{QStringLiteral("1"), QStringLiteral("one")}};
    Assessment assessment;
    assessment.title = QStringLiteral("Rivers");
    assessment.questions = {question};
    const Failure failure = failureOf(lesson->startAssessment(assessment));
    EXPECT(failure.reason() == Failure::NotAllowed);
    return true;
}

} // namespace

bool usesKit()
{
    Lesson lesson;
    EXPECT(lesson.state() == LiveClass::SignedOut && lesson.activity() == LiveClass::NoActivity);
    EXPECT(lesson.learners()->rowCount() == 0 && lesson.results()->rowCount() == 0);
    EXPECT(lesson.results()->roleNames().contains(LiveClass::RespondentsRole));
    EXPECT(lesson.property("state").toInt() == LiveClass::SignedOut);
    EXPECT(QMetaEnum::fromType<Action::Type>().value(Action::ReconnectNow) == Action::ReconnectNow);
    QBuffer csv;
    EXPECT(csv.open(QIODevice::WriteOnly) && lesson.exportCsv(&csv));
    lesson.setSilenceLimit(5000);
    return isRefused(&lesson) && refusesAssessment(&lesson) && lesson.own == 3;
}

#include "kit.moc"
