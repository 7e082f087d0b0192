// The host of the reference's page "Your first host": teaches three learners one question.

//! [begin]
#include "host/LiveClass.h"
#include "model/PollType.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTextStream>

using Tarvo::Failure;
using Tarvo::Learner;
using Tarvo::LiveClass;

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv); // arguments: the service's address, user, password
    QLoggingCategory::setFilterRules("tarvo.*.debug=false"); // they tell tokens and answers
    const QStringList args = app.arguments();
    QTextStream out(stdout);
    LiveClass lesson;
    //! [begin]

    //! [trouble]
    QObject::connect(&lesson, &LiveClass::failed, &app, [&](const Failure &failure) {
        out << failure.message() << ' ' << failure.advice() << Qt::endl;
        if (lesson.sessionCode().isEmpty()) // nobody can join
            QCoreApplication::exit(1);
    });
    //! [trouble]

    //! [code]
    QObject::connect(&lesson, &LiveClass::sessionCodeChanged, &app, [&] {
        if (!lesson.sessionCode().isEmpty())
            out << "Learners join with the code " << lesson.sessionCode() << Qt::endl;
    });
    //! [code]

    //! [ask]
    const int expected = 3;
    QObject::connect(&lesson, &LiveClass::learnerJoined, &app,
                     [&, there = 0](const Learner &learner) mutable {
                         out << learner.userName << " is there" << Qt::endl;
                         if (++there == expected)
                             lesson.ask("Which of them is prime?", Tarvo::PollType::MULTIPLE,
                                        {"27", "37", "57"});
                     });
    //! [ask]

    //! [results]
    QObject::connect(&lesson, &LiveClass::answered, &app, [&, answers = 0]() mutable {
        if (++answers < expected)
            return;
        lesson.stopActivity().then(&app, [&] {
            for (int row = 0; row < lesson.results()->rowCount(); ++row) {
                const QModelIndex choice = lesson.results()->index(row, 0);
                out << choice.data(LiveClass::LabelRole).toString() << ": "
                    << choice.data(LiveClass::CountRole).toInt() << Qt::endl;
            }
            lesson.signOut().then(&app, &QCoreApplication::quit);
        });
    });
    //! [results]

    //! [end]
    lesson.signIn(args.value(1), args.value(2), args.value(3)).then(&app, [&] { lesson.start(); });
    return app.exec();
}
//! [end]
