/// Counts what came out, by job, phase and fault, and says it in tables for people.
#pragma once

#include <QRegularExpression>

#include <map>
#include <set>
#include <string>
#include <vector>

namespace sweep {

/// Of one trial. The first three are names of columns.
struct Outcome
{
    std::string repair;             ///< what brought both flashes to hold their images
    std::string hub;                ///< what it runs when the power comes on after the fault
    std::string scaler;             ///< the same; the factory's firmware counts as old
    std::set<std::string> findings; ///< what one would not wish
};

/// Findings that the procedures lead to and that so are not a fault of the tool: patterns for "finding / job /
/// phase / fault". docs/reliability.md tells the same in words.
std::vector<std::string> knownPoints();

class Report
{
public:
    Report();

    /// Prints what nobody expects.
    void add(const std::string& job, const std::string& phase, const std::string& fault,
             const Outcome& outcome);
    /// So much was not expected that more would tell nothing.
    bool isHopeless() const { return failures_ >= 10; }
    /// Prints the tables and returns the number of failures; a known point that was not met is one when all
    /// were tried.
    int print(bool allPoints);

private:
    struct Known
    {
        std::string text;
        QRegularExpression pattern;
        unsigned met = 0;
    };

    std::map<std::string, std::map<std::string, unsigned>> tables_[3]; ///< counts by row and column
    std::vector<Known> known_;
    int failures_ = 0;
};

} // namespace sweep
