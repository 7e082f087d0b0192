// A class in a Qt Quick host: the models in views, operations and enumerators in the file's code.

#include "e2e/Classroom.h"
#include "support/Text.h"

#include "host/LiveClass.h"
#include "model/OrdinalType.h"
#include "model/PollType.h"

#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickItemGrabResult>
#include <QtQuick/QQuickView>
#include <QtTest/QtTest>

#include <memory>

using Tarvo::LiveClass;

namespace
{

constexpr int LONG_MS = 60000;

// The items of a name below this one; what a view makes is a child to the eye only.
QList<const QQuickItem *> itemsBelow(const QQuickItem *item, const QString &objectName)
{
    QList<const QQuickItem *> found;
    const auto children = item->childItems();
    for (const QQuickItem *child : children) {
        if (child->objectName() == objectName)
            found.append(child);
        found += itemsBelow(child, objectName);
    }
    return found;
}

} // namespace

class tst_Qml : public QObject
{
    Q_OBJECT

public:
    static void initMain();

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void fileShowsCodeLearnersAndBars();
    void fileHearsHowOperationsEnd();

private:
    // What the items of a name have as this property, in their order from top to bottom.
    QVariantList shown(const QString &objectName, const char *property) const;

    std::unique_ptr<Classroom> m_classroom;
    std::unique_ptr<LiveClass> m_lesson;
    std::unique_ptr<QQuickView> m_view;
    QStringList m_warnings;
};

void tst_Qml::initMain()
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
}

void tst_Qml::initTestCase()
{
    m_classroom = std::make_unique<Classroom>(words(u"--learners 5 --join-every 10"_s));
    QVERIFY2(!m_classroom->url().isEmpty(), qPrintable(m_classroom->errors()));

    const QString no = u"made by the host"_s;
    qmlRegisterUncreatableType<LiveClass>("Tarvo", 1, 0, "LiveClass", no);
    const auto registerEnumerators = [&no](const QMetaObject &type, const char *name) {
        qmlRegisterUncreatableMetaObject(type, "Tarvo", 1, 0, name, no);
    };
    registerEnumerators(Tarvo::Failure::staticMetaObject, "Failure");
    registerEnumerators(Tarvo::PollType::staticMetaObject, "PollType");
    registerEnumerators(Tarvo::OrdinalType::staticMetaObject, "OrdinalType");
}

void tst_Qml::init()
{
    m_warnings.clear();
    m_lesson = std::make_unique<LiveClass>();
    m_view = std::make_unique<QQuickView>();
    connect(m_view->engine(), &QQmlEngine::warnings, this, [this](const QList<QQmlError> &errors) {
        for (const QQmlError &error : errors)
            m_warnings.append(error.toString());
    });
    m_view->rootContext()->setContextProperty(u"lesson"_s, m_lesson.get());
    m_view->setSource(QUrl::fromLocalFile(QStringLiteral(LESSON_FILE)));
    QCOMPARE(m_view->status(), QQuickView::Ready);
    m_view->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
}

// The file's bindings are about the class, so the view goes first. Without the class its session ends.
void tst_Qml::cleanup()
{
    m_view.reset();
    m_lesson.reset();
    QCOMPARE(m_warnings, QStringList());
    QTRY_COMPARE(m_classroom->get(u"sessions"_s).toArray(), QJsonArray());
}

QVariantList tst_Qml::shown(const QString &objectName, const char *property) const
{
    QMap<qreal, QVariant> byHeight;
    const auto items = itemsBelow(m_view->rootObject(), objectName);
    for (const QQuickItem *item : items)
        byHeight.insert(item->mapToScene({}).y(), item->property(property));
    return byHeight.values();
}

void tst_Qml::fileShowsCodeLearnersAndBars()
{
    QObject *const file = m_view->rootObject();
    QMetaObject::invokeMethod(file, "begin", Q_ARG(QVariant, m_classroom->url()),
                              Q_ARG(QVariant, u"teacher"_s), Q_ARG(QVariant, u"secret"_s));
    QTRY_VERIFY_WITH_TIMEOUT(file->property("live").toBool(), LONG_MS);
    const QString code = m_classroom->get(u"sessions"_s)[0][u"code"_s].toString();
    QCOMPARE(shown(u"code"_s, "text"), QVariantList{code});
    const QVariantList names{u"Ada"_s, u"Ben"_s, u"Cleo"_s, u"Dan"_s, u"Eva"_s};
    QTRY_COMPARE_WITH_TIMEOUT(shown(u"learner"_s, "text"), names, LONG_MS);

    QMetaObject::invokeMethod(file, "ask");
    const QVariantList counts{u"3"_s, u"2"_s};
    QTRY_COMPARE_WITH_TIMEOUT(shown(u"count"_s, "text"), counts, LONG_MS);
    QCOMPARE(shown(u"label"_s, "text").size(), 2);
    const QVariantList widths{240.0, 160.0};
    QTRY_COMPARE(shown(u"bar"_s, "width"), widths);
    const auto picture = m_view->rootObject()->grabToImage();
    QTRY_VERIFY(!picture->image().isNull());
    QVERIFY(picture->image().save(u"lesson.png"_s));
    QCOMPARE(file->property("trouble").toString(), QString());
}

void tst_Qml::fileHearsHowOperationsEnd()
{
    QObject *const file = m_view->rootObject();
    QMetaObject::invokeMethod(file, "ask");
    QTRY_VERIFY(!file->property("trouble").toString().isEmpty());
    const Tarvo::Failure notAllowed(Tarvo::Action::StartPoll, Tarvo::Failure::NotAllowed);
    QCOMPARE(file->property("trouble").toString(), notAllowed.message());
}

QTEST_MAIN(tst_Qml)
#include "tst_qml.moc"
