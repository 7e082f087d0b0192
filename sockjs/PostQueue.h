#pragma once

#include "sockjs/Patience.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkRequest>

class QNetworkAccessManager;
class QNetworkReply;

// Posts that leave one after another, each when the one before has ended, so that messages cannot
// overtake each other. A far end that does not answer holds them up for a limited time only, and
// what waits is bounded.
//
// There are two ways to post, and the limits tell them apart. By default each message is a post of
// its own, and connections and repetitions are the toolkit's affair. robust() lets what waits leave
// together, posts nothing twice, and drops a connection before the server does.
//
// The manager carries the posts, and no others, and is the caller's; whoever hears its finished()
// passes the reply on.
class PostQueue : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PostQueue)

public:
    struct Limits {
        int patienceMs = 30000;  // for one post without progress
        int longestMs = 120000;  // for one post in all
        int remainingMs = 30000; // for all that is left after finish()
        qint64 waitingBytes = 64LL * 1024 * 1024;
        // The longest array that messages of one address leave in together; 0 keeps them apart.
        qint64 joinedBytes = 0;
        // For a connection without a post; 0 leaves that to the toolkit.
        int idleMs = 0;
        // How long what has come is looked at before either time counts as over.
        int lastLookMs = 0;
        // Whether the toolkit may post again when a connection ends without an answer. The server
        // may have read the first post by then.
        bool mayRepeat = true;
    };
    static Limits robust();

    PostQueue(QNetworkAccessManager *manager, const Limits &limits, QObject *parent);
    // For what leaves from now on. What waits keeps its place.
    void setLimits(const Limits &limits);

    // Posts `message` when its turn comes. It is lost when too much waits already.
    void append(const QNetworkRequest &request, const QByteArray &message);
    // The reply of the post under way has come, or the post has failed; others are not looked at.
    void replyFinished(const QNetworkReply *reply);
    // Whether a post is under way, or waits.
    bool isSending() const { return m_reply; }

    // Gives what is left, or comes yet, a limited time in all: what has not left then is lost.
    void finish();
    // The far end takes nothing any more: forgets what waits, aborts the post under way, and sends
    // nothing that comes yet.
    void drop();
    // Takes either back.
    void goOn();
    // Waits for a sign that the far end is there: an answer to the post under way, or else to the next
    // one, within `timeoutMs`. One that was under way before may take longer while it goes out. Of
    // several such waits the one that ends first counts.
    void expectAnswer(int timeoutMs);

Q_SIGNALS:
    // A byte of a post has gone out, or one of its answer has come.
    void progressed();
    // Nothing is under way any more and nothing waits.
    void drained();
    // Messages are lost, for this reason. A post that fails is told by its reply instead.
    void lost(const QString &reason);
    // The sign that was waited for so long has not come.
    void silent(int forMs);

private:
    struct Post {
        QNetworkRequest request;
        QByteArray message;
    };

    void sendNext();
    Post takeNext();
    int countNext() const;
    Post take();
    QNetworkReply *post(const Post &next);
    void forgetWaiting();
    void limitRest();
    void limitIdleness();
    void onProgress(int post);
    void onUploadProgress(int post);
    void onAnswer(int post);
    void giveUp();
    void onTimeIsUp();

    QNetworkAccessManager *m_manager;
    QList<Post> m_waiting;
    qint64 m_waitingBytes = 0;
    Limits m_limits;
    QNetworkReply *m_reply = nullptr; // of the post under way; the manager's
    int m_posts = 0;                  // the number of the post under way
    Patience m_patience;              // restarted by every byte of the post under way
    Patience m_longest;               // for all of it
    QTimer m_remaining;               // for all that is left
    QTimer m_idle;                    // for the connection, from the last post on
    bool m_finishing = false;         // finish() was called
    bool m_dropped = false;           // drop() was called
    Patience m_answering;             // runs while an answer is expected
    int m_answeringMs = 0;
    int m_postBefore = 0; // the number of the post that was under way when that began
};
