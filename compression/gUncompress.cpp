#include "compression/gUncompress.h"

#include "compression/BoundedInflate.h"

#include <QtCore/QDebug>

#include <limits>
#include <new>
#include <zlib.h>

namespace
{

constexpr int MIN_INPUT_BYTES = 5;
constexpr int CHUNK_BYTES = 1024;
constexpr int WINDOW_BITS = 15 + 32; // a 32 KiB window; +32 recognises a gzip or a zlib header

class Inflater
{
public:
    explicit Inflater(const QByteArray &data)
    {
        m_stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(data.constData()));
        m_stream.avail_in = static_cast<uInt>(data.size());
        m_initialised = inflateInit2(&m_stream, WINDOW_BITS) == Z_OK;
    }
    ~Inflater()
    {
        if (m_initialised)
            inflateEnd(&m_stream);
    }
    Q_DISABLE_COPY(Inflater)

    bool isInitialised() const { return m_initialised; }

    // Appends up to CHUNK_BYTES to `out`; `more` tells whether the chunk was filled.
    bool inflateChunk(QByteArray *out, bool *more)
    {
        Bytef chunk[CHUNK_BYTES];
        m_stream.next_out = chunk;
        m_stream.avail_out = CHUNK_BYTES;
        const int result = inflate(&m_stream, Z_NO_FLUSH);
        if (result == Z_NEED_DICT || result == Z_DATA_ERROR || result == Z_MEM_ERROR)
            return false;
        out->append(reinterpret_cast<const char *>(chunk),
                    CHUNK_BYTES - static_cast<int>(m_stream.avail_out));
        *more = m_stream.avail_out == 0;
        return true;
    }

private:
    z_stream m_stream = {};
    bool m_initialised = false;
};

QByteArray inflated(const QByteArray &data, int limit, bool *tooLarge)
{
    if (data.size() < MIN_INPUT_BYTES) {
        qWarning("gUncompress: Input data is truncated");
        return QByteArray();
    }

    Inflater inflater(data);
    if (!inflater.isInitialised())
        return QByteArray();

    QByteArray result;
    for (bool more = true; more;) {
        if (!inflater.inflateChunk(&result, &more))
            return QByteArray();
        *tooLarge = result.size() > limit;
        if (*tooLarge)
            return QByteArray();
    }
    return result;
}

} // namespace

QByteArray gUncompress(const QByteArray &data)
{
    bool tooLarge = false;
    return inflateAtMost(data, std::numeric_limits<int>::max(), &tooLarge);
}

QByteArray inflateAtMost(const QByteArray &data, int limit, bool *tooLarge)
{
    try {
        return inflated(data, limit, tooLarge);
    } catch (const std::bad_alloc &) {
        // A body that inflates to more than an array can hold fails as one without memory does.
        return QByteArray();
    }
}
