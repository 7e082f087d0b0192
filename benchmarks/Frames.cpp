#include "benchmarks/Frames.h"

#include "benchmarks/BareCodec.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

namespace
{

QString deviceId(int learner)
{
    return QStringLiteral("device-%1").arg(learner, 6, 10, QLatin1Char('0'));
}

QString frame(int learner, const QString &type, const QJsonObject &data)
{
    const QByteArray block = BareCodec::pack(QJsonDocument(data).toJson(QJsonDocument::Compact));
    const QJsonObject message{
        {QStringLiteral("type"), QStringLiteral("rec")},
        {QStringLiteral("address"), QStringLiteral("5f0b8f6e-session-token.presenter")},
        {QStringLiteral("body"),
         QJsonObject{{QStringLiteral("from"), deviceId(learner)},
                     {QStringLiteral("type"), type},
                     {QStringLiteral("version"), QStringLiteral("3.0.0")},
                     {QStringLiteral("data"), QJsonArray{QString::fromLatin1(block)}}}}};
    const QString text = QString::fromUtf8(QJsonDocument(message).toJson(QJsonDocument::Compact));
    return QLatin1Char('a')
        + QString::fromUtf8(QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact));
}

} // namespace

QString Frames::join(int learner)
{
    return frame(learner, QStringLiteral("join"),
                 {{QStringLiteral("userName"), QStringLiteral("Learner %1").arg(learner)},
                  {QStringLiteral("deviceType"), QStringLiteral("tablet")}});
}

QString Frames::pollResponse(int learner, const QByteArray &text)
{
    return frame(
        learner, QStringLiteral("pollResponse"),
        {{QStringLiteral("pollId"), QStringLiteral("0c0b5b2e-8f0a-4d3c-9f5e-1a2b3c4d5e6f")},
         {QStringLiteral("responseTime"), 1000 + learner},
         {QStringLiteral("pick"),
          QJsonObject{{QStringLiteral("blob"), QJsonArray{QString::fromUtf8(text)}}}}});
}
