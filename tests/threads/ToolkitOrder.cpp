// Tells the thread sanitizer of the order that the toolkit gives to what happens on two threads.
//
// The toolkit is not built for the sanitizer, and its mutexes and event lists are made of atomics and futexes
// that the sanitizer does not see. So what one thread does before it posts an event, and what another does when
// the event comes, would look unordered. Programs are linked with these functions ahead of the toolkit's: the
// dynamic linker takes them for everybody but the toolkit's own core, and each does what the toolkit's does and
// says what that orders. What nobody orders, they leave unordered: racing_threads.cpp has an example of each.

#include <QtCore/QCoreApplication>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QMetaMethod>
#include <QtCore/QMutex>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtCore/QThreadStorage>
#include <QtCore/QWaitCondition>

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <future>
#include <mutex>
#include <sanitizer/tsan_interface.h>
#include <utility>

namespace
{

void before(const void *what)
{
    __tsan_release(const_cast<void *>(what));
}

void after(const void *what)
{
    if (what)
        __tsan_acquire(const_cast<void *>(what));
}

// The toolkit's function of this name, which stands behind ours.
template<typename Function> Function toolkits(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// ---- Threads ------------------------------------------------------------------------------------

// The toolkit frees it when its thread ends, behind everything else and before anybody who waits for the
// thread goes on.
struct EndOfThread {
    QThread *thread = QThread::currentThread();

    ~EndOfThread() { before(thread); }
};

// Called by all that a thread may do here first.
void noteThread()
{
    static auto &ends = *new QThreadStorage<EndOfThread *>; // threads may end behind static objects
    thread_local bool isNoted = false;
    if (!std::exchange(isNoted, true))
        ends.setLocalData(new EndOfThread);
}

// ---- Events -------------------------------------------------------------------------------------

// Whose signal this thread is emitting.
thread_local const QObject *emitter = nullptr;

class Emission
{
    Q_DISABLE_COPY(Emission)

public:
    explicit Emission(const QObject *sender) : m_outer(std::exchange(emitter, sender))
    {
        noteThread();
        before(sender);
    }
    ~Emission() { emitter = m_outer; }

private:
    const QObject *m_outer;
};

// An event that calls a slot, as the toolkit has it in a header of its own.
struct CallEvent : QEvent {
    CallEvent() = delete;

    int signal;
    const QObject *sender;
};

// Called on the receiver's thread ahead of every event; true would keep the event from it.
bool beforeDelivery(void **data)
{
    noteThread();
    const auto *receiver = static_cast<const QObject *>(data[0]);
    const auto *event = static_cast<const QEvent *>(data[1]);
    after(event); // posted by QCoreApplication::postEvent
    if (event->type() == QEvent::MetaCall) {
        after(static_cast<const CallEvent *>(event)->sender); // by a signal
        after(receiver);                                      // by invokeMethod()
    } else if (event->type() == QEvent::DeferredDelete) {
        after(receiver);
    }
    return false;
}

[[maybe_unused]] const bool isHeard =
    QInternal::registerCallback(QInternal::EventNotifyCallback, beforeDelivery);

// A slot or functor goes with the last of those that hold it: a connection's two ends, an event, the caller
// of invokeMethod(), who may wait for it.
class SharedSlot : public QtPrivate::QSlotObjectBase
{
public:
    explicit SharedSlot(QSlotObjectBase *slot) : QSlotObjectBase(act), m_slot(slot)
    {
        before(&m_slot);
    }

private:
    static void act(int which, QSlotObjectBase *base, QObject *receiver, void **arguments,
                    bool *isSame)
    {
        auto *self = static_cast<SharedSlot *>(base);
        after(&self->m_slot);
        if (which == Call) {
            self->m_slot->call(receiver, arguments);
            before(self);
        } else if (which == Compare) {
            *isSame = self->m_slot->compare(arguments);
        } else if (which == Destroy) {
            after(self);
            self->m_slot->destroyIfLastRef();
            delete self;
        }
    }

    QSlotObjectBase *m_slot;
};

// ---- The values that go with a queued signal ----------------------------------------------------

// They are copied after the signal has been emitted and before its event is posted, by functions that
// types are registered with. A function that knows no more than its number stands for each of them.
constexpr int MAX_COPIERS = 256;
using Copier = QMetaType::Constructor;
std::array<Copier, MAX_COPIERS> copiers;

template<int N> void *copyAndTell(void *where, const void *value)
{
    void *copy = copiers[N](where, value);
    if (emitter)
        before(emitter);
    return copy;
}

template<int... N>
constexpr std::array<Copier, MAX_COPIERS> makeTellingCopiers(std::integer_sequence<int, N...>)
{
    return {copyAndTell<N>...};
}

Copier tellingCopier(Copier copier)
{
    static const auto telling = makeTellingCopiers(std::make_integer_sequence<int, MAX_COPIERS>());
    if (!copier)
        return nullptr;
    static std::mutex guard;
    const std::lock_guard<std::mutex> lock(guard);
    // The type has been registered before, or takes the first that is free.
    auto *place = std::find(copiers.begin(), copiers.end(), copier);
    if (place == copiers.end())
        place = std::find(copiers.begin(), copiers.end(), nullptr);
    if (place == copiers.end())
        qFatal("More than %d types are registered.", MAX_COPIERS);
    *place = copier;
    return telling[size_t(place - copiers.begin())];
}

} // namespace

int QMetaType::registerNormalizedType(const ::QByteArray &name, Destructor destructor,
                                      Copier copier, int size, TypeFlags flags,
                                      const QMetaObject *metaObject)
{
    static const auto real = toolkits<int (*)(const ::QByteArray &, Destructor, Copier, int,
                                              TypeFlags, const QMetaObject *)>(
        "_ZN9QMetaType22registerNormalizedTypeERK10QByteArrayPFvPvEPFS3_S3_PKvEi6QFlagsINS_"
        "8TypeFlagEEPK11QMetaObject");
    return real(name, destructor, tellingCopier(copier), size, flags, metaObject);
}

void QMetaObject::activate(QObject *sender, int signal, void **values)
{
    static const auto real =
        toolkits<void (*)(QObject *, int, void **)>("_ZN11QMetaObject8activateEP7QObjectiPPv");
    const Emission emission(sender);
    real(sender, signal, values);
}

void QMetaObject::activate(QObject *sender, const QMetaObject *metaObject, int signal,
                           void **values)
{
    static const auto real = toolkits<void (*)(QObject *, const QMetaObject *, int, void **)>(
        "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv");
    const Emission emission(sender);
    real(sender, metaObject, signal, values);
}

void QMetaObject::activate(QObject *sender, int offset, int signal, void **values)
{
    static const auto real = toolkits<void (*)(QObject *, int, int, void **)>(
        "_ZN11QMetaObject8activateEP7QObjectiiPPv");
    const Emission emission(sender);
    real(sender, offset, signal, values);
}

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *work,
                                   Qt::ConnectionType type, void *result)
{
    static const auto real =
        toolkits<bool (*)(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *)>(
            "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14"
            "ConnectionTypeEPv");
    auto *shared = new SharedSlot(work);
    before(object);
    return real(object, shared, type, result);
}

QMetaObject::Connection QObject::connectImpl(const QObject *sender, void **signal,
                                             const QObject *receiver, void **slot,
                                             QtPrivate::QSlotObjectBase *work,
                                             Qt::ConnectionType type, const int *types,
                                             const QMetaObject *metaObject)
{
    static const auto real = toolkits<QMetaObject::Connection (*)(
        const QObject *, void **, const QObject *, void **, QtPrivate::QSlotObjectBase *,
        Qt::ConnectionType, const int *, const QMetaObject *)>(
        "_ZN7QObject11connectImplEPKS_PPvS1_S3_"
        "PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKi"
        "PK11QMetaObject");
    return real(sender, signal, receiver, slot, new SharedSlot(work), type, types, metaObject);
}

bool QMetaObject::invokeMethod(QObject *object, const char *member, Qt::ConnectionType type,
                               QGenericReturnArgument result, QGenericArgument a,
                               QGenericArgument b, QGenericArgument c, QGenericArgument d,
                               QGenericArgument e, QGenericArgument f, QGenericArgument g,
                               QGenericArgument h, QGenericArgument i, QGenericArgument j)
{
    using Argument = QGenericArgument;
    static const auto real = toolkits<bool (*)(
        QObject *, const char *, Qt::ConnectionType, QGenericReturnArgument, Argument, Argument,
        Argument, Argument, Argument, Argument, Argument, Argument, Argument, Argument)>(
        "_ZN11QMetaObject12invokeMethodEP7QObjectPKcN2Qt14ConnectionTypeE22QGenericReturnArgument16"
        "QGenericArgumentS7_S7_S7_S7_S7_S7_S7_S7_S7_");
    before(object);
    return real(object, member, type, result, a, b, c, d, e, f, g, h, i, j);
}

void QCoreApplication::postEvent(QObject *receiver, QEvent *event, int priority)
{
    static const auto real = toolkits<void (*)(QObject *, QEvent *, int)>(
        "_ZN16QCoreApplication9postEventEP7QObjectP6QEventi");
    before(event);
    real(receiver, event, priority);
}

void QObject::deleteLater()
{
    static const auto real = toolkits<void (*)(QObject *)>("_ZN7QObject11deleteLaterEv");
    before(this);
    real(this);
}

// ---- Threads ------------------------------------------------------------------------------------

// As the toolkit's, but the thread is noted, whatever the function does.
QThread *QThread::createThreadImpl(std::future<void> &&function)
{
    class CreatedThread : public QThread
    {
    public:
        explicit CreatedThread(std::future<void> &&function) : m_function(std::move(function)) { }

    protected:
        void run() override
        {
            noteThread();
            m_function.get();
        }

    private:
        std::future<void> m_function;
    };
    return new CreatedThread(std::move(function));
}

bool QThread::wait(QDeadlineTimer deadline)
{
    static const auto real =
        toolkits<bool (*)(QThread *, QDeadlineTimer)>("_ZN7QThread4waitE14QDeadlineTimer");
    const bool hasEnded = real(this, deadline);
    if (hasEnded)
        after(this);
    return hasEnded;
}

bool QThread::wait(unsigned long ms)
{
    static const auto real = toolkits<bool (*)(QThread *, unsigned long)>("_ZN7QThread4waitEm");
    const bool hasEnded = real(this, ms);
    if (hasEnded)
        after(this);
    return hasEnded;
}

// ---- Mutexes ------------------------------------------------------------------------------------

void QMutex::lock() QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = toolkits<void (*)(QMutex *)>("_ZN6QMutex4lockEv");
    noteThread();
    real(this);
    after(this);
}

bool QMutex::tryLock(int ms) QT_MUTEX_LOCK_NOEXCEPT
{
    static const auto real = toolkits<bool (*)(QMutex *, int)>("_ZN6QMutex7tryLockEi");
    const bool isLocked = real(this, ms);
    if (isLocked)
        after(this);
    return isLocked;
}

void QMutex::unlock() noexcept
{
    static const auto real = toolkits<void (*)(QMutex *)>("_ZN6QMutex6unlockEv");
    before(this);
    real(this);
}

bool QWaitCondition::wait(QMutex *mutex, QDeadlineTimer deadline)
{
    static const auto real = toolkits<bool (*)(QWaitCondition *, QMutex *, QDeadlineTimer)>(
        "_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer");
    before(mutex);
    const bool isWoken = real(this, mutex, deadline);
    after(mutex);
    return isWoken;
}

bool QWaitCondition::wait(QMutex *mutex, unsigned long ms)
{
    static const auto real = toolkits<bool (*)(QWaitCondition *, QMutex *, unsigned long)>(
        "_ZN14QWaitCondition4waitEP6QMutexm");
    before(mutex);
    const bool isWoken = real(this, mutex, ms);
    after(mutex);
    return isWoken;
}

void QSemaphore::acquire(int n)
{
    static const auto real = toolkits<void (*)(QSemaphore *, int)>("_ZN10QSemaphore7acquireEi");
    real(this, n);
    after(this);
}

bool QSemaphore::tryAcquire(int n)
{
    static const auto real = toolkits<bool (*)(QSemaphore *, int)>("_ZN10QSemaphore10tryAcquireEi");
    const bool isAcquired = real(this, n);
    if (isAcquired)
        after(this);
    return isAcquired;
}

bool QSemaphore::tryAcquire(int n, int ms)
{
    static const auto real =
        toolkits<bool (*)(QSemaphore *, int, int)>("_ZN10QSemaphore10tryAcquireEii");
    const bool isAcquired = real(this, n, ms);
    if (isAcquired)
        after(this);
    return isAcquired;
}

void QSemaphore::release(int n)
{
    static const auto real = toolkits<void (*)(QSemaphore *, int)>("_ZN10QSemaphore7releaseEi");
    before(this);
    real(this, n);
}

// ---- Shared values ------------------------------------------------------------------------------

// A text or list that two threads share is freed by the one that counts it down last, and the toolkit counts
// as well, unseen: for an event's copy, for one. So that it is freed does not count as a write.
extern "C" void AnnotateIgnoreWritesBegin(const char *file, int line);
extern "C" void AnnotateIgnoreWritesEnd(const char *file, int line);

template<typename Free> static void freeShared(Free free)
{
    AnnotateIgnoreWritesBegin(__FILE__, __LINE__);
    free();
    AnnotateIgnoreWritesEnd(__FILE__, __LINE__);
}

void QArrayData::deallocate(QArrayData *data, size_t objectSize, size_t alignment) noexcept
{
    static const auto real =
        toolkits<void (*)(QArrayData *, size_t, size_t)>("_ZN10QArrayData10deallocateEPS_mm");
    freeShared([=] { real(data, objectSize, alignment); });
}

void QListData::dispose(Data *data)
{
    static const auto real = toolkits<void (*)(Data *)>("_ZN9QListData7disposeEPNS_4DataE");
    freeShared([=] { real(data); });
}

void QMapDataBase::freeData(QMapDataBase *data)
{
    static const auto real = toolkits<void (*)(QMapDataBase *)>("_ZN12QMapDataBase8freeDataEPS_");
    freeShared([=] { real(data); });
}
