#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QQueue>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <functional>

namespace Tarvo
{

// What a device has answered.
struct DeviceAnswer {
    QString deviceId;
    QString questionId;
    int responseTimeMs;
    QString text;
    bool isInTime; // the question was running when it came
};

// Answers of devices that the list of learners does not name yet: somebody has just joined, or loads the
// page again, and the service has forgotten the device for a moment. Devices do not repeat what the
// service has confirmed, so they wait here until a list names the device.
//
// Bounded in time and memory. Who speaks is not known yet: a device that a list did not name gives way
// when there is no room.
class WaitingAnswers
{
public:
    // From a device's first answer on.
    static constexpr int LONGEST_MS = 30000;
    // How soon the list is read again for devices that it did not name.
    static constexpr int LIST_AGAIN_MS = 5000;
    static constexpr int MAX_ANSWERS = 20000;
    static constexpr int MAX_OF_DEVICE = 100;
    static constexpr qint64 MAX_BYTES = 16LL * 1024 * 1024;

    struct Outcome {
        QVector<DeviceAnswer> known; // of devices that are listed now
        QStringList unknown;         // devices that have waited in vain; their answers are gone
    };

    WaitingAnswers() { m_clock.start(); }

    // No longer than LONGEST_MS.
    void setLongest(int ms) { m_longestMs = qMin(LONGEST_MS, ms); }
    void clear();
    // Returns who had to give way.
    QStringList keep(const DeviceAnswer &answer);
    // The device has joined: the next list may name it.
    void joined(const QString &deviceId);
    // A list is asked for, and has come.
    void listBegins();
    Outcome listCame(const std::function<bool(const QString &)> &isListed);

    bool isEmpty() const { return m_devices.isEmpty(); }
    // When the list should be read next for those who wait.
    int nextListMs() const;

private:
    struct Device {
        enum Stage {
            New,
            Awaited, // a list has been asked for since
            Missed   // it did not name the device
        };

        QVector<DeviceAnswer> answers;
        qint64 endMs = 0;
        Stage stage = New;
    };

    void forgetFormer(const DeviceAnswer &answer);
    bool makeRoom(qint64 bytes, QStringList *gone);
    void drop(const QString &deviceId);
    static qint64 bytesOf(const DeviceAnswer &answer);

    QHash<QString, Device> m_devices;
    QQueue<QString> m_order; // as they came
    int m_answers = 0;
    qint64 m_bytes = 0;
    int m_longestMs = LONGEST_MS;
    QElapsedTimer m_clock;
};

} // namespace Tarvo
