#pragma once

#include <QtCore/QString>
#include <QtWidgets/QWidget>

class QLabel;

namespace Desktop
{

class FittedLabel;
class QrCodeView;

// How to join the class, for a room to read: the address, its QR code and the session's code, as large as
// there is place. Without a code it says so.
class JoinCard : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(JoinCard)

public:
    explicit JoinCard(QWidget *parent = nullptr);

    // Where learners join, and the session's code; both are empty when there is none.
    void setSession(const QString &server, const QString &code);
    // A strip for who comes late, so that something else has the room.
    void setCompact(bool isCompact);
    QString joinAddress() const { return m_joinAddress; }

    // The code as it is read out: "123 456".
    static QString grouped(const QString &code);

private:
    void showHint();

    QString m_joinAddress;
    bool m_isOfThisMachine = false;
    bool m_isCompact = false;
    FittedLabel *m_code;
    FittedLabel *m_address;
    QrCodeView *m_qrCode;
    QLabel *m_hint;
};

} // namespace Desktop
