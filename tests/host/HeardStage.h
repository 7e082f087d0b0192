#pragma once

#include "ClassStage.h"

#include "client/PresenterClient.h"
#include "model/PollType.h"

#include <QtCore/QJsonDocument>

#include <functional>

inline QString text(const QJsonObject &json)
{
    return QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
}

// A class with one learner, who does not answer by itself, and a question.
class HeardStage : public ClassStage
{
public:
    HeardStage()
        : ClassStage({u"--think"_s, u"1000000"_s}), failed(host.get(), &LiveClass::failed),
          answered(host.get(), &LiveClass::answered),
          answeredLate(host.get(), &LiveClass::answeredLate)
    {
    }

    bool begin()
    {
        return begin([this] { return why(); });
    }
    bool begin(const std::function<Tarvo::Operation()> &asks)
    {
        if (!enter(LiveClass::Live) || !hasLearner() || !ask(asks))
            return false;
        learner = classroom.deviceId(0);
        return true;
    }
    bool ask()
    {
        return ask([this] { return why(); });
    }
    bool ask(const std::function<Tarvo::Operation()> &asks)
    {
        const int before = classroom.countNow(u"received"_s, {{u"type"_s, u"questionStart"_s}});
        if (!succeeds(asks()))
            return false;
        const QJsonArray got = classroom.received(u"questionStart"_s, before + 1);
        question = got.last()[u"data"_s][u"id"_s].toString();
        return !question.isEmpty();
    }

    // A message on the presenters' address, in the name of a device.
    void say(const QString &from, const QString &type, const QString &payload)
    {
        const QJsonObject body{{u"type"_s, type}, {u"from"_s, from}};
        classroom.post(u"publish"_s,
                       {{u"address"_s, u".presenter"_s}, {u"body"_s, body}, {u"text"_s, payload}});
    }
    void answer(const QString &from, const QString &words, const QString &to)
    {
        say(from, u"questionResponse"_s,
            text({{u"questionId"_s, to}, {u"responseTime"_s, 7}, {u"answer"_s, words}}));
    }
    Tarvo::Operation why() { return host->ask(u"Why?"_s, Tarvo::PollType::TEXT); }
    void answer(const QString &from, const QString &words) { answer(from, words, question); }
    void join(const QString &device, const QString &name)
    {
        say(device, u"join"_s, text({{u"userName"_s, name}, {u"deviceType"_s, u"tablet"_s}}));
    }

    // Somebody joins at the service, and says nothing. Returns the device's id.
    QString join(const QString &name)
    {
        PresenterClient client(nullptr, classroom.url());
        const QString body = text({{u"userName"_s, name},
                                   {u"sessionCode"_s, host->sessionCode()},
                                   {u"mode"_s, u"learner"_s},
                                   {u"deviceName"_s, u"Tablet"_s},
                                   {u"deviceType"_s, u"tablet"_s}});
        const QUrl url(classroom.url() + u"/vantora/classroom/session/join"_s);
        client.doRequest(true, url, body, nullptr, nullptr, false);
        const QJsonDocument reply = QJsonDocument::fromJson(client.getLastReply().text.toUtf8());
        return reply[u"data"_s][u"userToken"_s].toString();
    }

    // The known learner is heard after everybody who has spoken before.
    bool isHeardUpTo(const QString &words)
    {
        answer(learner, words);
        return QTest::qWaitFor([&] { return isAnswered(words); }, LIMIT_MS);
    }
    bool isAnswered(const QString &words) const
    {
        return !answered.isEmpty() && answered.last().at(2).toString() == words;
    }
    int respondents() const
    {
        return host->results()->index(0, 0).data(LiveClass::RespondentsRole).toInt();
    }
    QStringList names() const
    {
        QStringList names;
        for (int row = 0; row < host->learners()->rowCount(); ++row)
            names.append(host->learners()->index(row, 0).data(LiveClass::NameRole).toString());
        return names;
    }
    Tarvo::Failure::Reason lastFailure() const
    {
        return failed.isEmpty() ? Tarvo::Failure::NoReason
                                : failed.last().first().value<Tarvo::Failure>().reason();
    }

    QString learner;
    QString question;
    QSignalSpy failed;
    QSignalSpy answered;
    QSignalSpy answeredLate;
};
