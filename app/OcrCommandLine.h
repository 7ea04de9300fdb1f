#pragma once

#include <optional>

#include <QStringList>

namespace Tessary {

/**
 * The recognition modes of the command line: "--benchmark-ocr-file PATH", "--benchmark-ocr-warmup" and
 * "--ocr-file PATH". Each option counts only as the first argument and with exactly its own argument count.
 * They run synchronously on the main thread and never start the event loop.
 */
namespace OcrCommandLine {

/** The exit status when the arguments name one of the modes, else no value (and nothing was done). */
std::optional<int> runIfRequested(int &argc, char **argv, const QStringList &arguments);

} // namespace OcrCommandLine

} // namespace Tessary
