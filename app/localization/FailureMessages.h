#pragma once

#include <QString>

namespace Tessary {

struct PolishError;

/**
 * Words for failures whose source reports them as codes or in a language of its own. Each returns a message in
 * the form the shell shows through tessaryLocalizedMessage(): a Simplified Chinese key, possibly with its
 * placeholders filled in.
 */
namespace FailureMessages {

/**
 * Why polishing failed: the polisher's own messages as they are; transport and decoding failures, which arrive in
 * Qt's English, by their code.
 */
QString polish(const PolishError &error);

/** What the capture tool wrote to standard error, for the known messages of our own tool; others as they are. */
QString captureTool(const QString &toolError);

} // namespace FailureMessages

} // namespace Tessary
