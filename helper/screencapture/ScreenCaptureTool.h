#pragma once

namespace Tessary {

/**
 * "tessary-helper screencapture -i -x -t png PATH": lets the user drag out a region of the screen and writes it
 * to PATH as PNG. Exit status 0 with the file written; 1 without a file when the user cancelled (standard error
 * empty), when the screen cannot be read (standard error exactly "could not create image from rect"), or on any
 * other failure (one English line on standard error). The file appears whole or not at all.
 */
namespace ScreenCaptureTool {

int run(int &argc, char **argv);

} // namespace ScreenCaptureTool

} // namespace Tessary
