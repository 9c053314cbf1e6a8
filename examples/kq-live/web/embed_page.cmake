# Writes the page into a C++ source as bytes: cmake -DINPUT=page.html -DOUTPUT=page_html.cpp
# -P embed_page.cmake. Bytes, not a string literal, so that nothing in the page needs
# escaping.
file(READ ${INPUT} hex HEX)
string(LENGTH "${hex}" digits)
math(EXPR size "${digits} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "'\\\\x\\1'," bytes "${hex}")
string(REGEX REPLACE "(([^,]*,){16})" "\\1\n" bytes "${bytes}")
file(WRITE ${OUTPUT}.new "// Generated from page.html at build time.
#include <cstddef>
namespace live {
extern const char kPageHtml[];
extern const std::size_t kPageHtmlSize;
const char kPageHtml[] = {${bytes}'\\0'};
const std::size_t kPageHtmlSize = ${size};
}  // namespace live
")
file(RENAME ${OUTPUT}.new ${OUTPUT})
