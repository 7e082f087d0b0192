#include "host/CsvExport.h"

#include "host/LearnersModel.h"
#include "host/ResultsModel.h"

#include <QtCore/QFileDevice>
#include <QtCore/QIODevice>

#include <algorithm>
#include <cmath>

namespace Tarvo
{

namespace
{

// What is written at once.
constexpr int CHUNK_SIZE = 65536;

// The device as it is: line ends are written here, and not translated.
class BinaryMode
{
public:
    explicit BinaryMode(QIODevice *device)
        : m_device(device), m_wasText(device->isTextModeEnabled())
    {
        m_device->setTextModeEnabled(false);
    }
    ~BinaryMode() { m_device->setTextModeEnabled(m_wasText); }
    Q_DISABLE_COPY_MOVE(BinaryMode)

private:
    QIODevice *const m_device;
    const bool m_wasText;
};

bool isLayout(QChar character)
{
    return character == QLatin1Char('\t') || character == QLatin1Char('\n')
        || character == QLatin1Char('\r');
}

QString withoutControlCharacters(const QString &text)
{
    QString kept;
    kept.reserve(text.size());
    for (const QChar character : text) {
        if (character.category() != QChar::Other_Control || isLayout(character))
            kept.append(character);
    }
    return kept;
}

bool isFiniteNumber(const QString &text)
{
    bool isNumber = false;
    const double value = text.trimmed().toDouble(&isNumber); // which also reads "-inf"
    return isNumber && std::isfinite(value);
}

// Spreadsheets run a cell that begins like this, some in full-width characters, too.
bool isFormula(const QString &text)
{
    const QString beginnings = QStringLiteral("=+-@\t\r\uFF1D\uFF0B\uFF0D\uFF20");
    const auto first = std::find_if(text.begin(), text.end(), [&beginnings](QChar character) {
        return beginnings.contains(character) || !character.isSpace();
    });
    return first != text.end() && beginnings.contains(*first) && !isFiniteNumber(text);
}

bool needsQuotes(const QString &text)
{
    if (text.isEmpty())
        return false;
    const QString special = QStringLiteral(",\"\r\n");
    return text.front().isSpace() || text.back().isSpace()
        || std::any_of(text.begin(), text.end(),
                       [&special](QChar character) { return special.contains(character); });
}

QString cell(const QString &text)
{
    QString cell = withoutControlCharacters(text);
    if (isFormula(cell))
        cell.prepend(QLatin1Char('\''));
    if (!needsQuotes(cell))
        return cell;
    cell.replace(QLatin1Char('"'), QLatin1String("\"\""));
    return QLatin1Char('"') + cell + QLatin1Char('"');
}

QByteArray line(const QuestionTally &question, const QuestionTally::Answer &answer,
                const LearnersModel &learners)
{
    const QString name = learners.nameOf(answer.deviceId);
    const QStringList cells{cell(name.isEmpty() ? answer.deviceId : name), cell(answer.deviceId),
                            cell(question.text().isEmpty() ? question.id() : question.text()),
                            cell(answer.text), QString::number(answer.responseTimeMs)};
    return cells.join(QLatin1Char(',')).toUtf8() + "\r\n";
}

bool writeAll(QIODevice *device, const QByteArray &bytes)
{
    return device->write(bytes) == bytes.size();
}

// What a file holds back may not fit any more.
bool flushFile(QIODevice *device)
{
    auto *const file = qobject_cast<QFileDevice *>(device);
    return !file || file->flush();
}

} // namespace

bool writeCsv(QIODevice *device, const ResultsModel &results, const LearnersModel &learners)
{
    if (!device || !device->isWritable())
        return false;
    const BinaryMode binaryMode(device);
    QByteArray chunk = QByteArrayLiteral("Name,Device,Question,Answer,Milliseconds\r\n");
    for (int index = 0; index < results.questionCount(); ++index) {
        const QuestionTally &question = results.question(index);
        for (const QuestionTally::Answer &answer : question.answers()) {
            chunk += line(question, answer, learners);
            if (chunk.size() < CHUNK_SIZE)
                continue;
            if (!writeAll(device, chunk))
                return false;
            chunk.clear();
        }
    }
    return writeAll(device, chunk) && flushFile(device);
}

} // namespace Tarvo
