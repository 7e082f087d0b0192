#include "Script.h"

#include "CommandParser.h"

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

} // namespace

Script parseScript(const QString &text, const QString &fileName)
{
    Script script;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        const QString line = lines.at(i).trimmed();
        ParsedCommand parsed = parseCommand(line);
        if (!parsed.error.isEmpty()) {
            script.errors.append(
                QStringLiteral("%1:%2: %3").arg(fileName, QString::number(i + 1), parsed.error));
        } else if (parsed.command) {
            script.lines.append({std::move(*parsed.command), line, i + 1, QString()});
        }
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
    for (ScriptLine &line : script.lines)
        resolveFiles(line.command, QFileInfo(fileName).dir());
    return script;
}

} // namespace Host
