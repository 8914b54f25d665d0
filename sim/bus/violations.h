/// What the host did that a real monitor would have punished later; a line of text each. A test run that ends with
/// violations has found a fault in the host, even if the result looks right.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace sim {

class Violations
{
public:
    int count() const { return count_; }
    /// The first hundred, in order, so that a host gone wild does not fill the memory; count() goes on.
    const std::vector<std::string>& messages() const { return messages_; }
    void add(std::string message)
    {
        if (count_++ < 100)
            messages_.push_back(std::move(message));
    }
    void clear() { *this = {}; }

private:
    int count_ = 0;
    std::vector<std::string> messages_;
};

} // namespace sim
