#include "lessonfiles/AssessmentFile.h"

#include "lessonfiles/NamedFile.h"
#include "lessonfiles/QuestionKinds.h"

#include "model/AssessmentOptions.h"
#include "model/PollQuestion.h"
#include "model/QuestionBaseWithOptions.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaProperty>

namespace Host
{

namespace
{

using Tarvo::AssessmentQuestion;
using Tarvo::Choice;
using Tarvo::OrdinalType;
using Tarvo::PollType;

constexpr int MAX_CHOICES = 26;

// What is set for each class anew.
QStringList ownSettings()
{
    return {QStringLiteral("assessmentToken"), QStringLiteral("questionCount")};
}

QStringList ownProperties()
{
    return {
        QStringLiteral("id"),   QStringLiteral("questionSetMode"), QStringLiteral("questionNumber"),
        QStringLiteral("type"), QStringLiteral("activityType"),    QStringLiteral("hasNext")};
}

std::unique_ptr<Tarvo::QuestionBase> emptyQuestion(PollType::POLL_TYPE kind)
{
    return Tarvo::pollQuestion(kind, OrdinalType::GENERIC, 0);
}

bool takesChoices(PollType::POLL_TYPE kind)
{
    return qobject_cast<Tarvo::QuestionBaseWithOptions *>(emptyQuestion(kind).get());
}

// ---- Labels and choices --------------------------------------------------------------------------

struct Labelling {
    OrdinalType::ORDINAL_TYPE type;
    QString (*idOf)(int index);
};

const QVector<Labelling> &labellings()
{
    static const QVector<Labelling> rows{
        {OrdinalType::ALPHA_UPPER, [](int i) { return QString(QChar('A' + i)); }},
        {OrdinalType::ALPHA_LOWER, [](int i) { return QString(QChar('a' + i)); }},
        {OrdinalType::NUMBER, [](int i) { return QString::number(i); }},
    };
    return rows;
}

const Labelling *labellingNamed(const QString &name)
{
    const auto names = OrdinalType::ORDINAL_TYPE_STR();
    for (const Labelling &labelling : labellings()) {
        if (names.value(labelling.type) == name)
            return &labelling;
    }
    return nullptr;
}

// ---- Reading -------------------------------------------------------------------------------------

// Collects what the values of one JSON object become, and what is wrong with the first wrong one.
class Reader
{
public:
    Reader(QString place, QJsonObject object)
        : m_place(std::move(place)), m_object(std::move(object))
    {
    }

    QString error() const { return m_error; }
    void fail(const QString &why)
    {
        if (m_error.isEmpty())
            m_error = m_place + QStringLiteral(": ") + why;
    }

    // Takes a member out; what is left at the end are properties.
    QJsonValue take(const QString &name) { return m_object.take(name); }

    // The members that are left, each a writable property of the object of the same type.
    QVariantMap takeProperties(const QMetaObject &meta, const QStringList &reserved)
    {
        QVariantMap properties;
        for (auto member = m_object.constBegin(); member != m_object.constEnd(); ++member) {
            const int index = meta.indexOfProperty(member.key().toUtf8().constData());
            if (index < 0 || reserved.contains(member.key())) {
                fail(QStringLiteral("there is no '%1' to set").arg(member.key()));
                break;
            }
            const QMetaProperty property = meta.property(index);
            const QVariant value = convert(member.value(), property.userType());
            if (!property.isWritable() || !value.isValid()) {
                fail(QStringLiteral("'%1' takes %2")
                         .arg(member.key(), nameOfType(property.userType())));
                break;
            }
            properties.insert(member.key(), value);
        }
        return properties;
    }

private:
    static QVariant convert(const QJsonValue &value, int type)
    {
        if (type == QMetaType::QString && value.isString())
            return value.toString();
        if (type == QMetaType::Bool && value.isBool())
            return value.toBool();
        if (type == QMetaType::Int && value.isDouble() && value.toInt(-1) == value.toDouble())
            return value.toInt();
        if (type == QMetaType::QVariantMap && value.isObject())
            return value.toObject().toVariantMap();
        return QVariant();
    }

    static QString nameOfType(int type)
    {
        switch (type) {
        case QMetaType::QString:
            return QStringLiteral("a text");
        case QMetaType::Bool:
            return QStringLiteral("true or false");
        case QMetaType::Int:
            return QStringLiteral("a whole number");
        case QMetaType::QVariantMap:
            return QStringLiteral("an object");
        default:
            return QStringLiteral("no value from a file");
        }
    }

    QString m_place;
    QJsonObject m_object;
    QString m_error;
};

QVector<Choice> readChoices(Reader &reader, AssessmentQuestion &question)
{
    const bool isYesNo =
        question.kind == PollType::TRUE_FALSE || question.kind == PollType::YES_NO_OTHER;
    const QString labels =
        reader.take(QStringLiteral("labels")).toString(QStringLiteral("alpha-upper"));
    const QJsonValue options = reader.take(QStringLiteral("options"));
    const Labelling *labelling = labellingNamed(labels);
    if (!labelling) {
        reader.fail(QStringLiteral("'labels' is alpha-upper, alpha-lower or number"));
        return {};
    }
    question.labels = labelling->type;
    QJsonArray texts = options.toArray();
    if (options.isUndefined() && isYesNo) {
        texts = QJsonArray::fromStringList(
            question.kind == PollType::TRUE_FALSE
                ? QStringList{QStringLiteral("True"), QStringLiteral("False")}
                : QStringList{QStringLiteral("Yes"), QStringLiteral("No"),
                              QStringLiteral("Other")});
    }
    if (texts.isEmpty() || texts.size() > MAX_CHOICES) {
        reader.fail(QStringLiteral("'options' is a list of 1 to %1 texts").arg(MAX_CHOICES));
        return {};
    }
    QVector<Choice> choices;
    for (int i = 0; i < texts.size(); ++i) {
        if (!texts.at(i).isString())
            reader.fail(QStringLiteral("'options' is a list of texts"));
        choices.append({labelling->idOf(i), texts.at(i).toString()});
    }
    return choices;
}

AssessmentQuestion readQuestion(Reader &reader)
{
    AssessmentQuestion question;
    question.kind = PollType::TEXT;
    question.labels = OrdinalType::GENERIC;
    const QString kindName = reader.take(QStringLiteral("kind")).toString();
    const auto kind = kindNamed(kindName);
    if (!kind || !emptyQuestion(*kind)) {
        reader.fail(QStringLiteral("there is no kind of question '%1'").arg(kindName));
        return question;
    }
    question.kind = *kind;
    if (takesChoices(question.kind))
        question.choices = readChoices(reader, question);
    question.properties =
        reader.takeProperties(*emptyQuestion(question.kind)->metaObject(), ownProperties());
    question.text = question.properties.take(QStringLiteral("instructions")).toString();
    return question;
}

} // namespace

AssessmentFile parseAssessment(const QByteArray &json)
{
    AssessmentFile file;
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        file.error = QStringLiteral("not JSON, at byte %1: %2")
                         .arg(parseError.offset)
                         .arg(parseError.errorString());
        return file;
    }
    Reader reader(QStringLiteral("the assessment"), document.object());
    const QJsonArray questions = reader.take(QStringLiteral("questions")).toArray();
    QVariantMap settings =
        reader.takeProperties(Tarvo::AssessmentOptions::staticMetaObject, ownSettings());
    file.assessment.title = settings.take(QStringLiteral("title")).toString();
    const QString firstNumber = QStringLiteral("startingQuestionNumber");
    if (settings.contains(firstNumber))
        file.assessment.firstNumber = settings.take(firstNumber).toInt();
    file.assessment.settings = settings;
    if (questions.isEmpty())
        reader.fail(QStringLiteral("'questions' is a list of at least one question"));
    else if (file.assessment.firstNumber < 0 || file.assessment.firstNumber > questions.size())
        reader.fail(QStringLiteral("'startingQuestionNumber' is 0 to %1, no more than there are "
                                   "questions")
                        .arg(questions.size()));
    file.error = reader.error();
    for (int i = 0; i < questions.size() && file.error.isEmpty(); ++i) {
        Reader questionReader(QStringLiteral("question %1").arg(i + 1), questions.at(i).toObject());
        file.assessment.questions.append(readQuestion(questionReader));
        file.error = questionReader.error();
    }
    return file;
}

AssessmentFile readAssessment(const QString &fileName, const QString &folder)
{
    const NamedFile file = readNamed(fileName, folder);
    if (!file.error.isEmpty())
        return {{}, file.error};
    AssessmentFile result = parseAssessment(file.bytes);
    if (!result.error.isEmpty())
        result.error.prepend(fileName + QStringLiteral(": "));
    return result;
}

} // namespace Host
