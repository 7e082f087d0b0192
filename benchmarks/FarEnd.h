#pragma once

#include <QtCore/QProcess>
#include <QtCore/QString>

// The far end as a child process; it ends with this object.
class FarEnd
{
public:
    FarEnd();
    ~FarEnd();
    FarEnd(const FarEnd &) = delete;
    FarEnd &operator=(const FarEnd &) = delete;

    // The collaboration server's address, for PresenterCollab.
    QString url() const { return m_url; }

private:
    QProcess m_process;
    QString m_url;
};
