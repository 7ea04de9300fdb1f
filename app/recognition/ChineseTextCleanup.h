#pragma once

#include <QString>

namespace Tessary {

/**
 * Corrections for recognised text lines in which Chinese occurs. The models put a space between every two Chinese
 * characters and often read full-width punctuation as its ASCII look-alike; on screen, Chinese text has neither.
 */
namespace ChineseTextCleanup {

/** True for Han ideographs (also outside the BMP). */
bool isHan(char32_t c);

/** True when text holds a Han ideograph. */
bool hasHan(const QString &text);

/**
 * True when text holds a character a monospaced font draws two cells wide: a Han ideograph, or one outside the Basic
 * Multilingual Plane (emoji, the rarer ideographs).
 */
bool hasDoubleWidth(const QString &text);

/**
 * True when text holds ASCII signs only, spaces aside: no letter, digit or Chinese character (a comment's end, an
 * operator, a quote, brackets).
 */
bool signsOnly(const QString &text);

/** True when text is not empty and holds Han ideographs only. */
bool allHan(const QString &text);

/** True for characters that sit in Chinese text without spaces: Han, CJK punctuation, full-width forms. */
bool isCjk(char32_t c);

/**
 * Removes white space between two CJK characters, and between a corner bracket and an ASCII bracket outside it. Runs
 * of other spaces are kept as they are.
 */
QString removeSpacesBetweenCjk(const QString &line);

/**
 * Turns ASCII , . : ; ? ! ( ) that stand between two Han characters (spaces aside) into their full-width forms.
 */
QString restoreFullWidthPunctuation(const QString &line);

/** Trims the line's trailing white space, then restores punctuation and removes the spaces. */
QString cleanLine(const QString &line);

} // namespace ChineseTextCleanup

} // namespace Tessary
