#pragma once

#include <optional>

#include <QStringList>

namespace Tessary {

/**
 * The AI modes of the command line, each only as the sole argument:
 * - "--set-ai-key-stdin" stores the first line of standard input (trimmed) as the API key in the keyring;
 * - "--benchmark-ai" times one polishing request with the stored key and the saved base URL and model, and prints
 *   "ai_seconds=S output_characters=N".
 * Their messages are fixed English texts on standard output and standard error. The key is never printed, never
 * taken from the arguments or the environment, and never written to a file.
 */
namespace AICommandLine {

/** The exit status when the arguments name one of the modes, else no value (and nothing was done). */
std::optional<int> runIfRequested(int &argc, char **argv, const QStringList &arguments);

} // namespace AICommandLine

} // namespace Tessary
