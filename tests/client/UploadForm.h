#pragma once

#include <QtCore/QByteArray>

// The form that the service's resource store takes, byte for byte.
inline QByteArray form(const QByteArray &fileName, const QByteArray &data)
{
    return "------boundary\r\n"
           "Content-Disposition: form-data; name=files; filename=\""
        + fileName
        + "\"\r\n"
          "\r\n"
        + data
        + "\r\n"
          "------boundary\r\n"
          "\r\n"
          "Content-Disposition: form-data; name=isTemporary\r\n"
          "Content-Type: text/plain; charset=utf-8\r\n"
          "\r\n"
          "true\r\n"
          "------boundary\r\n"
          "\r\n"
          "Content-Disposition: form-data; name=clientProvidedGUID\r\n"
          "Content-Type: text/plain; charset=utf-8\r\n"
          "\r\n"
          "false\r\n"
          "------boundary--\r\n"
          "\r\n";
}
