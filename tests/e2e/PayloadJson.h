#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

// Whole JSON objects to compare payloads with.

inline QJsonObject json(const char *text)
{
    QJsonParseError error{};
    const QJsonObject object = QJsonDocument::fromJson(text, &error).object();
    if (error.error != QJsonParseError::NoError)
        qWarning("wrong JSON in the test: %s", text);
    return object;
}

// What comparisons print when they fail.
inline QByteArray text(const QJsonObject &object)
{
    return QJsonDocument(object).toJson();
}

// The first object with the members of the second.
inline QJsonObject merged(QJsonObject object, const QJsonObject &more)
{
    for (auto member = more.constBegin(); member != more.constEnd(); ++member)
        object.insert(member.key(), member.value());
    return object;
}

// Every question as it leaves the library, but for its id, its kind and what that kind has beside.
const char QUESTION[] = R"({
    "activityType": {},
    "card": {"active": true, "autoSend": true, "components": [], "hasRendered": true, "id": "",
             "isTeacherCard": true, "notes": "", "ordinal": 1, "primary": true, "pristine": true,
             "remoteId": "", "segment": {}, "tracks": [], "type": "TEACHER", "visible": true,
             "styles": {"backgroundColor": "", "backgroundImage": "", "backgroundSize": "100%"}},
    "feedBack": {"activityResponseStatus": null, "activityScoreStatus": null, "allowResubmit": true,
                 "answer": null, "correctAnswer": null, "correctFeedback": null,
                 "correctOptions": [], "inCorrectFeedback": null, "jsonAnswer": null,
                 "numberOfRetries": 0, "numberOfRetriesRemaining": 0, "optionAnswers": [],
                 "optionFeedbacks": [], "remainingTime": null, "showCorrectAnswer": false,
                 "showFeedback": false},
    "hasNext": false, "hint": "", "id": "", "instructions": "", "math": false, "navigable": false,
    "passage": "", "questionNumber": 0, "questionSetMode": "Poll", "type": ""})";
