#include "host/WaitingAnswers.h"

#include <algorithm>
#include <utility>

namespace Tarvo
{

void WaitingAnswers::clear()
{
    m_devices.clear();
    m_order.clear();
    m_answers = 0;
    m_bytes = 0;
}

QStringList WaitingAnswers::keep(const DeviceAnswer &answer)
{
    forgetFormer(answer);
    QStringList gone;
    if (!makeRoom(bytesOf(answer), &gone))
        return gone;
    if (!m_devices.contains(answer.deviceId)) {
        m_devices[answer.deviceId].endMs = m_clock.elapsed() + m_longestMs;
        m_order.enqueue(answer.deviceId);
    }
    m_devices[answer.deviceId].answers.append(answer);
    ++m_answers;
    m_bytes += bytesOf(answer);
    return gone;
}

// The same again takes the place of the former, and one too many that of the device's first.
void WaitingAnswers::forgetFormer(const DeviceAnswer &answer)
{
    const auto device = m_devices.find(answer.deviceId);
    if (device == m_devices.end())
        return;
    QVector<DeviceAnswer> &answers = device->answers;
    auto former = std::find_if(answers.begin(), answers.end(), [&](const DeviceAnswer &one) {
        return one.questionId == answer.questionId && one.text == answer.text
            && one.isInTime == answer.isInTime;
    });
    if (former == answers.end() && answers.size() >= MAX_OF_DEVICE)
        former = answers.begin();
    if (former == answers.end())
        return;
    --m_answers;
    m_bytes -= bytesOf(*former);
    answers.erase(former);
}

bool WaitingAnswers::makeRoom(qint64 bytes, QStringList *gone)
{
    while (m_answers >= MAX_ANSWERS || m_bytes + bytes > MAX_BYTES) {
        if (m_order.isEmpty() || m_devices[m_order.head()].stage != Device::Missed)
            return false;
        gone->append(m_order.head());
        drop(m_order.dequeue());
    }
    return true;
}

void WaitingAnswers::joined(const QString &deviceId)
{
    const auto device = m_devices.find(deviceId);
    if (device != m_devices.end())
        device->stage = Device::New;
}

void WaitingAnswers::listBegins()
{
    for (Device &device : m_devices) {
        if (device.stage == Device::New)
            device.stage = Device::Awaited;
    }
}

WaitingAnswers::Outcome WaitingAnswers::listCame(
    const std::function<bool(const QString &)> &isListed)
{
    Outcome outcome;
    const QQueue<QString> order = std::exchange(m_order, {});
    for (const QString &deviceId : order) {
        Device &device = m_devices[deviceId];
        if (isListed(deviceId)) {
            outcome.known += device.answers;
            drop(deviceId);
        } else if (device.stage != Device::New && m_clock.elapsed() >= device.endMs) {
            outcome.unknown.append(deviceId);
            drop(deviceId);
        } else {
            device.stage = device.stage == Device::New ? Device::New : Device::Missed;
            m_order.enqueue(deviceId);
        }
    }
    return outcome;
}

int WaitingAnswers::nextListMs() const
{
    qint64 nextMs = LIST_AGAIN_MS;
    for (const Device &device : m_devices) {
        const qint64 restMs = device.endMs - m_clock.elapsed();
        nextMs = qMin(nextMs, device.stage == Device::New ? 0 : qMax<qint64>(0, restMs));
    }
    return int(nextMs);
}

void WaitingAnswers::drop(const QString &deviceId)
{
    const Device device = m_devices.take(deviceId);
    m_answers -= device.answers.size();
    for (const DeviceAnswer &answer : device.answers)
        m_bytes -= bytesOf(answer);
}

// The ids count as well: a crowd of devices may say little each.
qint64 WaitingAnswers::bytesOf(const DeviceAnswer &answer)
{
    return (answer.deviceId.size() + answer.questionId.size() + answer.text.size())
        * qint64(sizeof(QChar));
}

} // namespace Tarvo
