#pragma once

// What steers the session, beside HTTP statuses and fault codes.

constexpr int kHandled = 0;
constexpr int kPassedOn = 2;  ///< an HTTP client's result that is handed on as it is
constexpr int kPostEmpty = 6; ///< post empty in order to get the next request

constexpr int kHttpOk = 200;
constexpr int kHttpNoContent = 204;
