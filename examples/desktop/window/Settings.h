#pragma once

#include "window/Theme.h"

#include <QtCore/QByteArray>
#include <QtCore/QSettings>
#include <QtCore/QString>

namespace Desktop
{

// What the program remembers from one time to the next. There is no place for a password in it.
class Settings
{
public:
    // The user's own file.
    Settings();
    // A file of one's own, for tests.
    explicit Settings(const QString &fileName);

    QString fileName() const { return m_store.fileName(); }

    QString server() const;
    QString user() const;
    // The file with the school's root certificate; empty when only the system's count.
    QString rootFile() const;
    void setAccount(const QString &server, const QString &user, const QString &rootFile);

    Theme::Mode theme() const;
    void setTheme(Theme::Mode mode);

    // Size and place of the window, and of the panels in it.
    QByteArray geometry() const;
    QByteArray panels() const;
    void setWindow(const QByteArray &geometry, const QByteArray &panels);

private:
    QString text(const QString &key) const { return m_store.value(key).toString(); }

    QSettings m_store;
};

} // namespace Desktop
