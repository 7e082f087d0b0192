#include "lesson/News.h"

#include "FailureText.h"
#include "console/Terminal.h"
#include "lesson/Learners.h"
#include "lesson/Results.h"

namespace Host
{

namespace
{

using Tarvo::Failure;
using Tarvo::LiveClass;

constexpr int MS_PER_S = 1000;

} // namespace

News::News(LiveClass &live, const Asked &asked, Terminal &terminal)
    : m_live(live), m_asked(asked), m_terminal(terminal)
{
    connect(&live, &LiveClass::learnerJoined, this, &News::learnerJoined);
    connect(&live, &LiveClass::learnerLeft, this, &News::learnerLeft);
    connect(&live, &LiveClass::answered, this, &News::answered);
    connect(&live, &LiveClass::answeredLate, this, &News::answeredLate);
    connect(live.learners(), &QAbstractItemModel::rowsInserted, this, [this] { m_names.clear(); });
    connect(live.learners(), &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &, const QModelIndex &, const QVector<int> &roles) {
                if (roles.contains(LiveClass::NameRole))
                    m_names.clear();
            });
    connect(&live, &LiveClass::failed, this, &News::failed);
    connect(&live, &LiveClass::stateChanged, this, &News::stateChanged);
    connect(&live, &LiveClass::reasonChanged, this, &News::reasonChanged);
    connect(&live, &LiveClass::attemptChanged, this, &News::attemptChanged);
    connect(&live, &LiveClass::remoteChanged, this, &News::remoteChanged);
    connect(&live, &LiveClass::remoteCommand, this, [this](const QString &command) {
        m_terminal.tell(QStringLiteral("* remote: %1").arg(shown(command)));
    });
    tellWhoIsThere();
}

// ---- Learners ------------------------------------------------------------------------------------

void News::tellWhoIsThere()
{
    const QAbstractItemModel &learners = *m_live.learners();
    for (int row = 0; row < learners.rowCount(); ++row) {
        const QModelIndex index = learners.index(row, 0);
        if (index.data(LiveClass::PresentRole).toBool())
            tellJoined(index.data().toString(), index.data(LiveClass::DeviceTypeRole).toString());
    }
}

void News::tellJoined(const QString &name, const QString &deviceType)
{
    m_terminal.tell(QStringLiteral("+ %1, %2 now")
                        .arg(nameAndDevice(name, deviceType), learnersInWords(++m_learnerCount)));
}

void News::learnerJoined(const Tarvo::Learner &learner)
{
    tellJoined(learner.userName.isEmpty() ? learner.deviceId : learner.userName,
               learner.deviceType);
}

void News::learnerLeft(const QString &deviceId)
{
    --m_learnerCount;
    // At the end of the class everybody goes. Who was removed is no longer known, and the command that
    // did it has its own words.
    const QString name = nameAndDevice(*m_live.learners(), deviceId);
    if (isGoingOn() && !name.isEmpty())
        m_terminal.tell(QStringLiteral("- %1, %2 now").arg(name, learnersInWords(m_learnerCount)));
}

void News::answered(const QString &deviceId, const QString &question, const QString &answer)
{
    if (m_terminal.hasPrompt())
        return; // the bars show it
    QString who = nameOf(deviceId);
    if (m_live.activity() == LiveClass::Assessment)
        who += QStringLiteral(", question %1").arg(m_asked.indexOf(question) + 1);
    m_terminal.tell(QStringLiteral("  %1: %2").arg(who, shown(answer)));
}

void News::answeredLate(const QString &deviceId, const QString &, const QString &answer)
{
    m_terminal.tell(QStringLiteral("  %1: %2 (too late)").arg(nameOf(deviceId), shown(answer)));
}

// Tens of thousands of answers cannot look through all learners each.
QString News::nameOf(const QString &deviceId)
{
    QString &name = m_names[deviceId];
    if (name.isEmpty())
        name = Host::nameOf(*m_live.learners(), deviceId);
    return name;
}

void News::remoteChanged(bool isThere)
{
    m_hasRemote = isThere;
    if (isGoingOn())
        m_terminal.tell(isThere ? QStringLiteral("+ remote") : QStringLiteral("- remote"));
}

void News::failed(const Failure &failure)
{
    // The others were asked for, and whoever asked is told.
    if (failure.action() == Tarvo::Action::None)
        m_terminal.tell(QStringLiteral("? ") + describe(failure));
}

bool News::isGoingOn() const
{
    return m_live.state() == LiveClass::Live || m_live.state() == LiveClass::Reconnecting;
}

// ---- The connection ------------------------------------------------------------------------------

void News::stateChanged()
{
    if (m_live.state() == LiveClass::Reconnecting)
        m_isAway = true;
    if (m_live.state() != LiveClass::Live || !m_isAway)
        return;
    m_isAway = false;
    m_toldReason = Failure::NoReason;
    m_terminal.tell(QStringLiteral("Connected again over %1.").arg(m_live.transport()));
}

void News::reasonChanged()
{
    const Failure::Reason reason = m_live.reason();
    if (m_live.state() != LiveClass::Reconnecting || reason == m_toldReason)
        return;
    m_toldReason = reason;
    m_terminal.tell(Failure(Tarvo::Action::None, reason).message());
}

void News::attemptChanged()
{
    if (m_live.state() != LiveClass::Reconnecting || !m_live.nextAttemptAt().isValid())
        return;
    const qint64 waitMs = QDateTime::currentDateTimeUtc().msecsTo(m_live.nextAttemptAt());
    m_terminal.tell(QStringLiteral("Coming back, attempt %1 in %2 s ...")
                        .arg(m_live.attempt())
                        .arg(qMax<qint64>(1, (waitMs + MS_PER_S / 2) / MS_PER_S)));
}

} // namespace Host
