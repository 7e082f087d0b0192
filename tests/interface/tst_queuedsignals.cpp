// Every signal of the public classes reaches a receiver on another thread: each of its types can be queued, and is
// known to the toolkit by the name that stands in the signal.

#include "client/PresenterClient.h"
#include "collab/CollaborationMessageHandler.h"
#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "host/LiveClass.h"
#include "sockjs/SockJSConnector.h"
#include "sockjs/SockJSXHRPolling.h"
#include "sockjs/SockJSXHRPollingWorker.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtTest/QtTest>

#include <cstring>
#include <functional>
#include <memory>

using Factory = std::function<std::unique_ptr<QObject>()>;

Q_DECLARE_METATYPE(Factory)

namespace
{

// Whatever is connected to it is heard; it has no slot of its own.
class Listener : public QObject
{
public:
    int qt_metacall(QMetaObject::Call call, int id, void **arguments) override
    {
        id = QObject::qt_metacall(call, id, arguments);
        if (id < 0 || call != QMetaObject::InvokeMetaMethod)
            return id;
        on = QThread::currentThread();
        heard.release();
        return -1;
    }

    QThread *on = nullptr;
    QSemaphore heard;
};

// One value for each parameter of a method.
class Arguments
{
public:
    explicit Arguments(const QMetaMethod &method)
    {
        m_data.append(nullptr); // what it returns
        for (const QByteArray &name : method.parameterTypes())
            add(name);
    }
    ~Arguments()
    {
        for (int i = 0; i < m_types.size(); ++i) {
            if (m_types.at(i) != QMetaType::UnknownType)
                QMetaType::destroy(m_types.at(i), m_data.at(i + 1));
        }
    }
    Arguments(const Arguments &) = delete;
    Arguments &operator=(const Arguments &) = delete;

    QByteArrayList unknown;
    void **data() { return m_data.data(); }

private:
    void add(const QByteArray &name)
    {
        const bool isPointer = name.endsWith('*');
        const int type = isPointer ? int(QMetaType::UnknownType) : QMetaType::type(name);
        if (!isPointer && type == QMetaType::UnknownType)
            unknown.append(name);
        m_types.append(type);
        m_data.append(type == QMetaType::UnknownType ? &m_null : made(type));
    }
    // What needs no constructor gets none, and would be what lay there before.
    static void *made(int type)
    {
        const QMetaType known(type);
        void *value = known.create();
        if (!(known.flags() & QMetaType::NeedsConstruction))
            std::memset(value, 0, std::size_t(known.sizeOf()));
        return value;
    }

    QVector<int> m_types;
    QVector<void *> m_data;
    void *m_null = nullptr; // for pointers, which the toolkit copies as they are
};

} // namespace

class tst_QueuedSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void signalsReachAnotherThread_data();
    void signalsReachAnotherThread();
    void cleanupTestCase();

private:
    static QStringList reach(QObject *sender, Listener *listener, int signal);

    QThread m_thread;
    Listener m_listener;
};

// The short names are those of hosts, whose line this is.
void tst_QueuedSignals::initTestCase()
{
    qRegisterMetaType<Tarvo::Learner>("Learner");
    qRegisterMetaType<Tarvo::RemoteControlMessage>("RemoteControlMessage");
    m_listener.moveToThread(&m_thread);
    m_thread.start();
}

void tst_QueuedSignals::cleanupTestCase()
{
    m_thread.quit();
    QVERIFY(m_thread.wait(30000));
}

void tst_QueuedSignals::signalsReachAnotherThread_data()
{
    QTest::addColumn<Factory>("make");
    QTest::addColumn<int>("count");
    const auto row = [](const char *name, int count, const auto &make) {
        QTest::newRow(name) << Factory([make]() -> std::unique_ptr<QObject> {
            return std::unique_ptr<QObject>(make());
        }) << count;
    };
    const QString nobody = u"http://127.0.0.1:1"_s;
    row("client", 1, [=] { return new PresenterClient(nullptr, nobody); });
    row("channel", 7, [=] { return new PresenterCollab(nullptr, nobody, u"c"_s, u"t"_s, u"u"_s); });
    row("dispatcher", 7, [] { return new CollaborationMessageHandler(nullptr); });
    row("assessment", 1, [] { return new PresenterAssessment(nullptr, nullptr); });
    row("connector", 4, [] { return new SockJSConnector; });
    row("polling", 2, [] { return new SockJSXHRPolling; });
    row("worker", 4,
        [] { return new SockJSXHRPollingWorker(nullptr, nullptr, u"h"_s, 80, false, true); });
    row("class", 19, [] { return new Tarvo::LiveClass; });
}

// What is wrong with that signal.
QStringList tst_QueuedSignals::reach(QObject *sender, Listener *listener, int signal)
{
    const QMetaMethod method = sender->metaObject()->method(signal);
    const QString name = QString::fromLatin1(method.methodSignature());
    const int anySlot = QObject::staticMetaObject.methodCount();
    Arguments arguments(method);
    if (!arguments.unknown.isEmpty())
        return {name + u" has a type without a name"_s};
    const LogCapture log;
    QMetaObject::connect(sender, signal, listener, anySlot, Qt::QueuedConnection, nullptr);
    sender->qt_metacall(QMetaObject::InvokeMetaMethod, signal, arguments.data());
    if (!log.messages().isEmpty())
        return log.messages();
    if (!listener->heard.tryAcquire(1, 5000) || listener->on != listener->thread())
        return {name + u" was not heard"_s};
    return {};
}

void tst_QueuedSignals::signalsReachAnotherThread()
{
    QFETCH(Factory, make);
    QFETCH(int, count);
    const std::unique_ptr<QObject> sender = make();
    const QMetaObject *meta = sender->metaObject();
    int reached = 0;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        if (meta->method(i).methodType() != QMetaMethod::Signal)
            continue;
        QCOMPARE(reach(sender.get(), &m_listener, i), QStringList());
        ++reached;
    }
    QCOMPARE(reached, count);
}

QTEST_GUILESS_MAIN(tst_QueuedSignals)
#include "tst_queuedsignals.moc"
