#pragma once

#include "bll/bll.shared/db2/db_handler_user.h"

#include <array>
#include <tuple>

namespace db {

/// A field of `UserRow`, the column of `users` that holds it and has the same name, and the
/// parameter through which statements set it.
template <typename T>
struct UserColumn {
    constexpr UserColumn(const char* parameter, T UserRow::*field)
        : parameter(parameter), name(parameter + 1), field(field) {}

    const char* parameter; ///< the name behind a colon
    const char* name;
    T UserRow::*field;
};

/// All fields of `UserRow`, in the order in which rows are read and bound.
inline constexpr std::tuple user_columns{
    UserColumn{":user_id", &UserRow::user_id},
    UserColumn{":device_id", &UserRow::device_id},
    UserColumn{":avatar", &UserRow::avatar},
    UserColumn{":user_name", &UserRow::user_name},
    UserColumn{":name_spell", &UserRow::name_spell},
    UserColumn{":remark", &UserRow::remark},
    UserColumn{":is_anonymous", &UserRow::is_anonymous},
    UserColumn{":is_star", &UserRow::is_star},
    UserColumn{":is_attention", &UserRow::is_attention},
    UserColumn{":user_type", &UserRow::user_type},
    UserColumn{":user_version", &UserRow::user_version},
    UserColumn{":user_source", &UserRow::user_source},
    UserColumn{":gender", &UserRow::gender},
    UserColumn{":extra", &UserRow::extra},
    UserColumn{":data_type", &UserRow::data_type},
    UserColumn{":local_user_id", &UserRow::local_user_id},
    UserColumn{":group_info", &UserRow::group_info},
    UserColumn{":msg_set", &UserRow::msg_set},
    UserColumn{":in_black_list", &UserRow::in_black_list},
    UserColumn{":is_blacked", &UserRow::is_blacked},
    UserColumn{":user_extension", &UserRow::user_extension},
    UserColumn{":contact_extension", &UserRow::contact_extension},
};

/// Their names, in the same order.
inline constexpr auto user_column_names =
    std::apply([](const auto&... column) { return std::array{column.name...}; }, user_columns);

/// Calls `visit` with each `UserColumn` in turn.
template <typename Visit>
constexpr void for_each_user_column(Visit visit) {
    std::apply([&visit](const auto&... column) { (visit(column), ...); }, user_columns);
}

} // namespace db
