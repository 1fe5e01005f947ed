// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>

#include <IdlewynKit/Export.hpp>

/// Text from agents and relays, made safe for people to read. What could move, reorder, hide or
/// imitate other text is written out; everything else stays as it is.
///
///     std::cout << displayLine(session.title) << "\n";
///     std::cout << displayBlock(prompt.detail) << "\n";
///
/// A character is written out as `\u{202E}`, its code point in hexadecimal, and a byte that is not
/// UTF-8 as `\x{FF}`. A count follows where several alike stand together: `\u{20*37}` is 37 blanks.
/// A backslash of the text itself is written as `\u{5C}` where it would begin such a form, so the
/// original can always be read from the result, and different texts give different results.
/// Apply it exactly once, and measure, wrap or cut the result.
///
/// Written out are controls, format characters, bidirectional controls, line and paragraph
/// separators, blanks other than U+0020, default ignorables, characters with an empty glyph,
/// unassigned and private-use characters, marks without a base, and every mark after the eighth on
/// one character. Joiners, variation selectors and tags stay where Unicode's data has them: in
/// emoji sequences, in standardized variation sequences and between letters of joining scripts.
/// Letters of right-to-left scripts stay in logical order; who draws them isolates them.
///
/// The functions take any bytes, give UTF-8 of at most six times their size, and take linear time.
/// They can be called on any thread.
namespace idlewyn::platform {

/// For one line: line breaks and tabs are written out too, and so are blanks after the third in a
/// run and all blanks at the end.
IDLEWYNKIT_EXPORT std::string displayLine(std::string_view text);

/// For a block of lines that is wrapped when it is shown: line breaks (U+000A) and tabs stay.
/// Blanks and tabs before a line's text stay up to column 40, with tab stops every eight columns,
/// and up to eight elsewhere; the rest, and all of them at a line's end, are written out.
IDLEWYNKIT_EXPORT std::string displayBlock(std::string_view text);

/// For a JSON document (RFC 8259): what people could not see is written as `\uXXXX`, which means
/// the same to a JSON reader.
IDLEWYNKIT_EXPORT std::string displayJSON(std::string_view document);

}  // namespace idlewyn::platform

namespace idlewyn {

using platform::displayBlock;
using platform::displayJSON;
using platform::displayLine;

}  // namespace idlewyn
