#include "apps/userdb/kinds.h"

#include "apps/userdb/failures.h"
#include "apps/userdb/text.h"

#include <map>
#include <sstream>

namespace userdb {

namespace {

const std::map<std::string, db::UserDataType> kinds{
    {"contact", db::UserDataType::USERDATA_CONTACT},
    {"public-account", db::UserDataType::USERDATA_PUBLIC_ACCOUNT},
    {"user", db::UserDataType::USERDATA_USER},
};

} // namespace

std::vector<std::string> kind_names(uint32_t mask) {
    std::vector<std::string> names;
    for (const auto& [name, bit] : kinds) {
        if ((mask & static_cast<uint32_t>(bit)) != 0) {
            names.push_back(name);
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
        const auto named = kinds.find(name);
        if (named == kinds.end()) {
            throw bad_input("'" + name + "' is no kind of user: " + joined(kind_names(), ", "));
        }
        mask |= static_cast<uint32_t>(named->second);
    }
    return mask;
}

} // namespace userdb
