#pragma once

namespace Tessary {

/**
 * "tessary-helper clipboard-serve": reads text from standard input until it ends, takes the X11 clipboard with it,
 * writes "ok" to standard output, and serves the text to other programs until one of them takes the clipboard.
 * Lets a command-line mode leave its text on the clipboard after it exits on desktops without a clipboard manager.
 */
namespace ClipboardServe {

int run(int &argc, char **argv);

} // namespace ClipboardServe

} // namespace Tessary
