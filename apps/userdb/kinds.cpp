#include "apps/userdb/kinds.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/text.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace userdb {

namespace {

struct kind {
    const char* name;
    db::UserDataType bit;
};

/// In the order in which people see them.
constexpr std::array kinds{
    kind{"contact", db::UserDataType::USERDATA_CONTACT},
    kind{"public-account", db::UserDataType::USERDATA_PUBLIC_ACCOUNT},
    kind{"user", db::UserDataType::USERDATA_USER},
};

} // namespace

std::vector<std::string> kind_names(uint32_t mask) {
    std::vector<std::string> names;
    for (const kind& each : kinds) {
        if ((mask & static_cast<uint32_t>(each.bit)) != 0) {
            names.emplace_back(each.name);
        }
    }
    return names;
}

uint32_t kinds_from(const std::string& text) {
    if (const auto number = whole_number<uint32_t>(text)) {
        return *number;
    }
    uint32_t mask = 0;
    std::istringstream names(text + ','); // so that an empty last name is seen too
    for (std::string name; std::getline(names, name, ',');) {
        const auto named = std::find_if(kinds.begin(), kinds.end(),
                                        [&name](const kind& each) { return each.name == name; });
        if (named == kinds.end()) {
            throw bad_input("'" + name + "' is no kind of user: " + joined(kind_names(), ", "));
        }
        mask |= static_cast<uint32_t>(named->bit);
    }
    return mask;
}

} // namespace userdb
