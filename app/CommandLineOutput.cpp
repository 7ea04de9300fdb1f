#include "app/CommandLineOutput.h"

#include <QtGlobal>

namespace Tessary::CommandLineOutput {

void write(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

void silenceQtMessages()
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
}

} // namespace Tessary::CommandLineOutput
