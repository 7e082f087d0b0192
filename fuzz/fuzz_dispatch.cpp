#include "collab/CollaborationMessageHandler.h"
#include "compression/Lzma.h"
#include "fuzz/Fuzzing.h"

namespace
{

class Handler : public CollaborationMessageHandler
{
public:
    Handler() : CollaborationMessageHandler(nullptr) { }
    using CollaborationMessageHandler::onHandleMessage;
};

const char *const TYPES[] = {"join",     "pollResponse", "questionResponse", "questionGet",
                             "nextCard", "addImageCard", "unknown"};

} // namespace

// The first byte chooses: the rest is a whole message, or the payload of one of each type, packed
// as the learners' devices pack it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    Handler handler;
    const QString text = Fuzzing::textOf(data + 1, size - 1);
    if (data[0] % 8 == 0) {
        handler.onHandleMessage(text);
        return 0;
    }
    QString block;
    Fuzzing::require(Lzma::compress64(text, &block));
    handler.onHandleMessage(
        QStringLiteral("{\"body\":{\"type\":\"%1\",\"from\":\"d1\",\"data\":[\"%2\"]}}")
            .arg(QLatin1String(TYPES[data[0] % 8 - 1]), block));
    return 0;
}
