#include "Script.h"

#include "CommandParser.h"
#include "lessonfiles/AssessmentFile.h"
#include "lessonfiles/NamedFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

namespace Host
{

namespace
{

// The file that a command reads, if it reads one: its name, and the folder that it has to come from.
struct FileOfCommand {
    QString *name;
    QString *folder;
};

std::optional<FileOfCommand> fileOf(Command &command)
{
    if (auto *image = std::get_if<Commands::SetImage>(&command); image && !image->isAddress)
        return FileOfCommand{&image->source, &image->folder};
    if (auto *upload = std::get_if<Commands::Upload>(&command))
        return FileOfCommand{&upload->file, &upload->folder};
    if (auto *assessment = std::get_if<Commands::StartAssessment>(&command))
        return FileOfCommand{&assessment->file, &assessment->folder};
    return std::nullopt;
}

QDir folderOf(const QString &scriptName)
{
    const QFileInfo script(scriptName);
    return script.isFile() ? script.dir() : QDir::current();
}

// Takes the file of a line for one beside the script; what is wrong with it, or nothing.
QString settleFile(Command &command, const QDir &folder, LessonFiles files)
{
    const std::optional<FileOfCommand> file = fileOf(command);
    if (!file)
        return QString();
    *file->name = folder.filePath(*file->name);
    if (files == LessonFiles::InItsFolder)
        *file->folder = folder.absolutePath();
    return std::holds_alternative<Commands::StartAssessment>(command)
        ? readAssessment(*file->name, *file->folder).error
        : whyNotFrom(*file->folder, *file->name);
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

void confineFiles(Command &command, const QString &folder)
{
    if (const std::optional<FileOfCommand> file = fileOf(command))
        *file->folder = folder;
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

Script readScript(const QString &fileName, LessonFiles files)
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
        const QString error = settleFile(line.command, folderOf(fileName), files);
        if (!error.isEmpty())
            script.errors.append(whatIsWrongAt(fileName, line, error));
    }
    return script;
}

} // namespace Host
