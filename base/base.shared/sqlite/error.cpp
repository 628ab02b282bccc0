#include "base/base.shared/sqlite/error.h"

namespace sqlite {

namespace {

std::string without_nul(std::string text) {
    for (size_t at = 0; (at = text.find('\0', at)) != std::string::npos;) {
        text.replace(at, 1, "\\0");
    }
    return text;
}

} // namespace

error::error(int code, const std::string& text)
    : std::runtime_error(without_nul(text)), m_code(code) {}

} // namespace sqlite
