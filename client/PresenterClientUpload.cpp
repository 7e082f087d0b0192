// Upload of one file to the service's resource store.

#include "client/PresenterClient.h"

#include "client/JsonReply.h"
#include "compression/BoundedLzma.h"

#include <QtCore/QUrl>

namespace
{

const QLatin1String UPLOAD_PATH("/vantora/resource/uploadResourceFile");
const QLatin1String DOWNLOAD_PATH("/vantora/resource/downloadResourceFile?resourceId=");

// The form as the service accepts it: field names stand without quotes, every boundary line but the
// first is followed by an empty line, and the file has no content type. %1 of the first two is the
// boundary; a field takes its name, its value, the boundary and the mark that ends the form.
const QLatin1String FILE_START("--%1\r\n"
                               "Content-Disposition: form-data; name=files; filename=\"%2\"\r\n"
                               "\r\n");
const QLatin1String FILE_END("\r\n"
                             "--%1\r\n"
                             "\r\n");
const QLatin1String FIELD("Content-Disposition: form-data; name=%1\r\n"
                          "Content-Type: text/plain; charset=utf-8\r\n"
                          "\r\n"
                          "%2\r\n"
                          "--%3%4\r\n"
                          "\r\n");
const QLatin1String FORM_END("--");

constexpr int FORM_OVERHEAD_BYTES = 512;

} // namespace

QString PresenterClient::addMultipartValue(QString name, QString value, bool last)
{
    return FIELD.arg(name, value, MULTIPART_BOUNDARY, last ? FORM_END : QLatin1String());
}

bool PresenterClient::doUploadResource(QString fileName, QByteArray data, QString *resourceIdOut,
                                       QString *downloadPathOut)
{
    const QByteArray fileStart = FILE_START.arg(MULTIPART_BOUNDARY, fileName).toUtf8();
    const QString fields =
        addMultipartValue(QStringLiteral("isTemporary"), QStringLiteral("true"), false)
        + addMultipartValue(QStringLiteral("clientProvidedGUID"), QStringLiteral("false"), true);

    QByteArray body;
    body.reserve(fileStart.size() + data.size() + FORM_OVERHEAD_BYTES);
    body += fileStart;
    body += data;
    body += FILE_END.arg(MULTIPART_BOUNDARY).toUtf8();
    body += fields.toUtf8();

    resourceId.clear();
    resourcePath.clear();
    const auto upload = [&] {
        doRequest(true, QUrl(serverUrl + UPLOAD_PATH), body,
                  &PresenterClient::uploadResourceResponse, nullptr, true);
    };
    if (!survives(upload) || resourceId.isNull())
        return false;

    *resourceIdOut = resourceId;
    *downloadPathOut = DOWNLOAD_PATH + resourceId;
    return true;
}

void PresenterClient::uploadResourceResponse(QString body)
{
    const JsonReply reply(body);
    reply.read(QLatin1String("id"), &resourceId);
    reply.read(QLatin1String("path"), &resourcePath);
}

int PresenterClient::LzmaDecompress64(QString input, QString *output)
{
    UnpackingLimit limit;
    return BoundedLzma::decompress64(input, &limit, output);
}
