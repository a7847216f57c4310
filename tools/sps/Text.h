// Text between the command line, the store and the eye.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

// The argument as 16-bit text. What it is ("topic", "value") goes into the complaint about an argument
// that is not UTF-8: WrongUsage.
std::u16string toUtf16(const std::string& argument, std::string_view what);

// The same for a name of a key: 1 to 255 characters, no backslash.
std::u16string keyName(const std::string& argument, std::string_view what);

std::string toUtf8(std::u16string_view text);

// In double quotes on one line: quotes, backslashes and control characters are escaped, the latter as
// \n, \t, \r or \u001b. Nothing in a stored text can so move the cursor or end a line.
std::string inQuotes(std::u16string_view text);
// The escapes without the quotes and without escaping backslashes and quotes: for names and paths.
std::string oneLine(std::u16string_view text);

// Whether the registry takes both for the same name of a key or value: upper and lower case are.
bool sameName(std::u16string_view left, std::u16string_view right);

// As bash takes it as one word, quoted where needed; control characters are escaped.
std::string shellWord(const std::string& text);

// Rows as aligned columns, two blanks apart; the last column is not padded. Widths count code points.
using Row = std::vector<std::string>;
std::string columns(const std::vector<Row>& rows, std::string_view indent = {});

// "1 topic", "3 topics"
std::string counted(std::size_t count, std::string_view noun);

}  // namespace tool
