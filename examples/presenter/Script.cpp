#include "Script.h"

#include "CommandParser.h"
#include "lesson/AssessmentFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace Host
{

namespace
{

void resolveFiles(Command &command, const QDir &folder)
{
    if (auto *image = std::get_if<Commands::SetImage>(&command); image && !image->isAddress)
        image->source = folder.filePath(image->source);
    else if (auto *upload = std::get_if<Commands::Upload>(&command))
        upload->file = folder.filePath(upload->file);
    else if (auto *assessment = std::get_if<Commands::StartAssessment>(&command))
        assessment->file = folder.filePath(assessment->file);
}

QString whatIsWrongAt(const QString &fileName, const ScriptLine &line, const QString &why)
{
    return QStringLiteral("%1:%2: %3").arg(fileName, QString::number(line.number), why);
}

} // namespace

std::optional<ScriptLine> readLine(const QString &text, int number)
{
    ParsedCommand parsed = parseCommand(text);
    if (!parsed.command && parsed.error.isEmpty())
        return std::nullopt;
    return ScriptLine{std::move(parsed.command).value_or(Commands::Help{}), text.trimmed(), number,
                      parsed.error};
}

Script parseScript(const QString &text, const QString &fileName)
{
    Script script;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const std::optional<ScriptLine> line = readLine(lines.at(i).trimmed(), i + 1);
        if (line && line->error.isEmpty())
            script.lines.append(*line);
        else if (line)
            script.errors.append(whatIsWrongAt(fileName, *line, line->error));
    }
    return script;
}

Script readScript(const QString &fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        Script script;
        script.errors.append(
            QStringLiteral("%1: cannot be read: %2").arg(fileName, file.errorString()));
        return script;
    }
    Script script = parseScript(QString::fromUtf8(file.readAll()), fileName);
    for (ScriptLine &line : script.lines) {
        resolveFiles(line.command, QFileInfo(fileName).dir());
        const auto *assessment = std::get_if<Commands::StartAssessment>(&line.command);
        const QString error = assessment ? readAssessment(assessment->file).error : QString();
        if (!error.isEmpty())
            script.errors.append(whatIsWrongAt(fileName, line, error));
    }
    return script;
}

} // namespace Host
