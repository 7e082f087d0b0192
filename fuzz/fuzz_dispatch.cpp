#include "collab/CollaborationMessageHandler.h"
#include "compression/Lzma.h"
#include "fuzz/Fuzzing.h"

namespace
{

// What a message of 4 KiB may have packed: an encoder takes longer to set up than the rest to run.
constexpr int MAX_BLOCKS = 8;

class Handler : public CollaborationMessageHandler
{
public:
    Handler() : CollaborationMessageHandler(nullptr)
    {
        const auto count = [this] { ++signalsHeard; };
        connect(this, &Handler::learnerPollResponse, this, count);
        connect(this, &Handler::learnerJoin, this, count);
        connect(this, &Handler::learnerUnregister, this, count);
        connect(this, &Handler::controllerRegister, this, count);
        connect(this, &Handler::remoteControl, this, count);
        connect(this, &Handler::unhandledMessage, this, count);
        connect(this, &Handler::learnerGetQuestion, this, count);
    }
    using CollaborationMessageHandler::onHandleMessage;

    int signalsHeard = 0;
};

QString quoted(const QString &text)
{
    return QLatin1Char('"') + text + QLatin1Char('"');
}

// The JSON of a block in the form that the first character of the text asks for: base64 in a text, a
// list of numbers (#), that list in a text (=).
QString packed(const QString &text)
{
    const bool isList = text.startsWith(QLatin1Char('#'));
    const bool isTextOfList = text.startsWith(QLatin1Char('='));
    QString block;
    if (isList || isTextOfList)
        Fuzzing::require(Lzma::compress(text.mid(1), &block));
    else
        Fuzzing::require(Lzma::compress64(text, &block));
    return isList ? block : quoted(block);
}

// The message with every <text> replaced by its block.
QString withBlocks(const QString &message)
{
    QString result;
    int position = 0;
    for (int blocks = 0; blocks < MAX_BLOCKS; ++blocks) {
        const int open = message.indexOf(QLatin1Char('<'), position);
        const int close = message.indexOf(QLatin1Char('>'), open);
        if (open < 0 || close < 0)
            break;
        result += message.mid(position, open - position);
        result += packed(message.mid(open + 1, close - open - 1));
        position = close + 1;
    }
    return result + message.mid(position);
}

} // namespace

// The input is a message. What stands between < and > in it is packed, as the learners' devices pack
// payloads, so that the fuzzer can change the JSON inside a block.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Handler handler;
    handler.onHandleMessage(withBlocks(Fuzzing::textOf(data, size)));
    Fuzzing::require(handler.signalsHeard <= 1);
    return 0;
}
