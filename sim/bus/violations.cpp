/// Keeps the first messages and counts all.
#include "sim/bus/violations.h"

#include <utility>

namespace sim {

namespace {
constexpr std::size_t kept_messages = 100; ///< a host gone wild must not fill the memory
} // namespace

void Violations::add(std::string message)
{
    ++count_;
    if (messages_.size() < kept_messages)
        messages_.push_back(std::move(message));
}

void Violations::clear()
{
    count_ = 0;
    messages_.clear();
}

} // namespace sim
