// The text form of time that the agent writes into the `time` of its rows.
#ifndef OVIX_AGENT_STORE_TIME_H_
#define OVIX_AGENT_STORE_TIME_H_

#include <chrono>
#include <string>

namespace ovix::agent {

// RFC 3339 in UTC with milliseconds, "2026-11-21T04:31:09.120Z": in this form the order of strings
// is the order of times. Years 0 to 9999.
std::string TimeText(std::chrono::system_clock::time_point time);

// The SQL condition that a row's `time` is in this form: only then is it known how old the row
// is.
inline constexpr char kWellFormedTime[] =
    R"("time" GLOB '[0-9][0-9][0-9][0-9]-[0-9][0-9]-[0-9][0-9]T*Z')";

}  // namespace ovix::agent

#endif  // OVIX_AGENT_STORE_TIME_H_
