#pragma once

#include <cstdio>

#include <QString>

namespace Tessary {

/** Output of the command-line modes: exact texts on standard output and standard error, nothing else. */
namespace CommandLineOutput {

/** Writes text as UTF-8 and flushes. */
void write(std::FILE *stream, const QString &text);

/**
 * Drops Qt's own diagnostics (for example about XDG_RUNTIME_DIR) so that a mode's standard error holds only its
 * message. Call before the application object is created.
 */
void silenceQtMessages();

} // namespace CommandLineOutput

} // namespace Tessary
