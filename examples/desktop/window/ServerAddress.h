#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QString>
#include <QtCore/QUrl>

namespace Desktop
{

// The address of a classroom service as people type it: "classroom.example" is meant to be
// https://classroom.example. A plain value.
class ServerAddress
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::ServerAddress)

public:
    explicit ServerAddress(const QString &typed);

    bool isValid() const { return m_complaint.isEmpty(); }
    // What is wrong with it, in a sentence; empty when nothing is.
    QString complaint() const { return m_complaint; }
    // The address without a slash at its end.
    QString text() const;
    // Where learners join the session with this code.
    QString joinAddress(const QString &code) const;
    // Other machines cannot use it.
    bool isOfThisMachine() const;

private:
    QUrl m_url;
    QString m_complaint;
};

} // namespace Desktop
