#pragma once

#include "service/Store/Database.hpp"

/// Macros, not constants: SQL text is put together at compile time, so that each statement is one literal.
#define VELMOR_SESSION_COLUMNS                                                                               \
    "SELECT row, id, user, service, data_type, callback_url, timezone, started, ended, unexpected_end, "     \
    "complete,"                                                                                              \
    " (SELECT count(*) FROM chunks WHERE session=row), (SELECT max(sequence) FROM chunks WHERE session=row)" \
    " FROM sessions "
#define VELMOR_SESSION_FILTER "WHERE (?1=char(10) OR user=?1) AND day>=?2 AND day<=?3 "

namespace VelmorService {

/// Makes the tables of a new database; refuses, with std::runtime_error, one that a later version has made.
void prepareSchema(Database& database);

}  // namespace VelmorService
