// The far end of a channel, in a process of its own: a SockJS event bus with one guest over a web
// socket, and a class of learners behind it.
//
//   farend
//
// Prints its address and ends with its standard input. What comes is read only for what the presenter
// wants of the class: a publication to the address "learners.N" makes N of them join, and a question
// makes all who joined answer.

#include "benchmarks/Frames.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>
#include <QtCore/QVector>
#include <QtNetwork/QHostAddress>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

#include <cstdio>
#include <unistd.h>

namespace
{

// So many frames at a time leave, as fast as a server that has the whole class at once, and no faster
// than a presenter can read them.
constexpr int FRAMES_A_TURN = 50;
constexpr int TURN_MS = 2;
// The address of a publication stands before this position of its frame.
constexpr int ADDRESS_END = 100;

class Class : public QObject
{
public:
    explicit Class(QWebSocket *presenter) : QObject(presenter), m_presenter(presenter)
    {
        connect(presenter, &QWebSocket::textMessageReceived, this, &Class::read);
        connect(presenter, &QWebSocket::disconnected, presenter, &QObject::deleteLater);
        connect(&m_timer, &QTimer::timeout, this, &Class::send);
        m_timer.setTimerType(Qt::PreciseTimer);
        presenter->sendTextMessage(QStringLiteral("o"));
    }

private:
    void read(const QString &frame)
    {
        static const QLatin1String order("learners.");
        const int position = frame.left(ADDRESS_END).indexOf(order);
        if (position >= 0) {
            const int number = position + order.size();
            m_learners =
                frame.mid(number, frame.indexOf(QLatin1Char('\\'), number) - number).toInt();
            prepare(m_learners);
            queue(joins());
        } else if (m_learners > 0 && frame.contains(QLatin1String("questionStart"))) {
            queue(answers());
        }
    }

    // Frames are made once for all classes: making one takes longer than reading it.
    static void prepare(int learners)
    {
        for (int learner = joins().size(); learner < learners; ++learner) {
            joins().append(Frames::join(learner));
            answers().append(Frames::pollResponse(learner, "2"));
        }
    }
    static QVector<QString> &joins()
    {
        static QVector<QString> frames;
        return frames;
    }
    static QVector<QString> &answers()
    {
        static QVector<QString> frames;
        return frames;
    }

    void queue(const QVector<QString> &frames)
    {
        m_frames = &frames;
        m_sent = 0;
        m_timer.start(TURN_MS);
    }
    void send()
    {
        for (int i = 0; i < FRAMES_A_TURN && m_sent < m_learners; ++i, ++m_sent)
            m_presenter->sendTextMessage(m_frames->at(m_sent));
        if (m_sent == m_learners)
            m_timer.stop();
    }

    QWebSocket *m_presenter;
    QTimer m_timer;
    const QVector<QString> *m_frames = nullptr;
    int m_learners = 0;
    int m_sent = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QWebSocketServer server(QStringLiteral("farend"), QWebSocketServer::NonSecureMode);
    if (!server.listen(QHostAddress::LocalHost))
        return 1;
    QObject::connect(&server, &QWebSocketServer::newConnection, &server,
                     [&server] { new Class(server.nextPendingConnection()); });

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [] {
        char byte = 0;
        if (::read(STDIN_FILENO, &byte, 1) <= 0)
            QCoreApplication::quit();
    });
    std::printf("http://127.0.0.1:%d\n", server.serverPort());
    std::fflush(stdout);
    return QCoreApplication::exec();
}
