#include "window/Settings.h"

namespace Desktop
{

namespace
{

const QString SERVER = QStringLiteral("account/server");
const QString USER = QStringLiteral("account/user");
const QString ROOT_FILE = QStringLiteral("account/rootCertificate");
const QString THEME = QStringLiteral("window/theme");
const QString GEOMETRY = QStringLiteral("window/geometry");
const QString PANELS = QStringLiteral("window/panels");

} // namespace

Settings::Settings()
    : m_store(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("tarvo"),
              QStringLiteral("tarvo-desktop"))
{
}

Settings::Settings(const QString &fileName) : m_store(fileName, QSettings::IniFormat) { }

QString Settings::server() const
{
    return text(SERVER);
}

QString Settings::user() const
{
    return text(USER);
}

QString Settings::rootFile() const
{
    return text(ROOT_FILE);
}

void Settings::setAccount(const QString &server, const QString &user, const QString &rootFile)
{
    m_store.setValue(SERVER, server);
    m_store.setValue(USER, user);
    m_store.setValue(ROOT_FILE, rootFile);
}

Theme::Mode Settings::theme() const
{
    return Theme::modeNamed(text(THEME));
}

void Settings::setTheme(Theme::Mode mode)
{
    m_store.setValue(THEME, Theme::nameOf(mode));
}

QByteArray Settings::geometry() const
{
    return m_store.value(GEOMETRY).toByteArray();
}

QByteArray Settings::panels() const
{
    return m_store.value(PANELS).toByteArray();
}

void Settings::setWindow(const QByteArray &geometry, const QByteArray &panels)
{
    m_store.setValue(GEOMETRY, geometry);
    m_store.setValue(PANELS, panels);
}

} // namespace Desktop
