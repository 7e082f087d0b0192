#pragma once

#include <QtCore/QDir>
#include <QtCore/QSettings>
#include <QtCore/QStandardPaths>
#include <QtCore/QString>

namespace Desktop
{

// What is remembered about results from one time to the next, in the program's own file.
class ResultsSettings
{
public:
    bool areNamesHidden() const { return m_store.value(HIDE_NAMES()).toBool(); }
    void setNamesHidden(bool areHidden) { m_store.setValue(HIDE_NAMES(), areHidden); }
    bool isHiddenUntilClosed() const { return m_store.value(HIDE_RESULTS()).toBool(); }
    void setHiddenUntilClosed(bool isHidden) { m_store.setValue(HIDE_RESULTS(), isHidden); }

    // Where files were saved last; the user's documents when that is gone.
    QString folder() const
    {
        const QString last = m_store.value(FOLDER()).toString();
        const bool isThere = !last.isEmpty() && QDir(last).exists();
        return isThere ? last : QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    }
    void setFolder(const QString &folder) { m_store.setValue(FOLDER(), folder); }

private:
    static QString HIDE_NAMES() { return QStringLiteral("results/hideNames"); }
    static QString HIDE_RESULTS() { return QStringLiteral("results/hideUntilClosed"); }
    static QString FOLDER() { return QStringLiteral("results/folder"); }

    QSettings m_store{QSettings::IniFormat, QSettings::UserScope, QStringLiteral("tarvo"),
                      QStringLiteral("tarvo-desktop")};
};

} // namespace Desktop
