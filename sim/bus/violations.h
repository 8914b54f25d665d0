/// What the host did that a real monitor would have punished later: each violation is one line of text. A
/// test run that ends with violations has found a fault in the host, even if the result looks right.
#pragma once

#include <string>
#include <vector>

namespace sim {

class Violations
{
public:
    int count() const { return count_; }
    /// The first hundred, in order; count() goes on.
    const std::vector<std::string>& messages() const { return messages_; }
    void add(std::string message);
    void clear();

private:
    int count_ = 0;
    std::vector<std::string> messages_;
};

} // namespace sim
