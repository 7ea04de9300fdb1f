#pragma once

namespace Tessary {

/**
 * Pages of this process that are copies of files and can be read again whenever they are needed. After the
 * engines were released, the machine code of the recognition libraries and the font files the warm-up drew with
 * stay resident, though nothing touches them until the next capture.
 */
namespace ResidentPages {

/**
 * Gives the resident pages of the recognition libraries' code and of font files back to the system (they stay
 * in the page cache, shared with other programs, and come back on first use). Only mappings that nothing can
 * have written to are touched: executable code and read-only font files.
 */
void dropRecognitionCode();

} // namespace ResidentPages

} // namespace Tessary
