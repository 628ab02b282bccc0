#include "apps/userdb/kinds.h"

#include "apps/userdb/record_json.h"
#include "bll/bll.shared/db2/db_handler_user.h"

#include <charconv>
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

std::string kinds_in(uint32_t data_type) {
    std::string names;
    for (const auto& [name, kind] : kinds) {
        if ((data_type & static_cast<uint32_t>(kind)) != 0) {
            names += (names.empty() ? "" : ", ") + name;
        }
    }
    return names;
}

uint32_t data_type_of(const std::string& text) {
    uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, number);
    if (failure == std::errc() && stop == end) {
        return number;
    }
    uint32_t mask = 0;
    std::istringstream names(text + ','); // so that an empty last name is seen too
    for (std::string name; std::getline(names, name, ',');) {
        const auto kind = kinds.find(name);
        if (kind == kinds.end()) {
            throw bad_input("'" + name + "' is no kind of user: contact, public-account, user");
        }
        mask |= static_cast<uint32_t>(kind->second);
    }
    return mask;
}

} // namespace userdb
