/// Rows are named after what was tried, columns after what came out.
#include "report.h"

#include <algorithm>
#include <cstdio>

namespace sweep {

namespace {

const char* const columns[] = {"points",     "itself",     "start",     "power",   "downgrade",
                               "never",      "hub old",    "hub new",   "hub ROM", "hub mix",
                               "scaler old", "scaler new", "scaler mix"};

} // namespace

Report::Report()
{
    for (const std::string& text : knownPoints())
        known_.push_back({text, QRegularExpression('^' + QString::fromStdString(text) + '$')});
}

void Report::add(const std::string& job, const std::string& phase, const std::string& fault,
                 const Outcome& outcome)
{
    for (auto* row : {&tables_[0][job], &tables_[1][phase], &tables_[2][fault], &tables_[2]["all"]}) {
        for (const std::string& column : {std::string("points"), outcome.repair, outcome.hub, outcome.scaler})
            ++(*row)[column];
    }
    const std::string place = " / " + job + " / " + phase + " / " + fault;
    for (const std::string& finding : outcome.findings) {
        const auto known = std::find_if(known_.begin(), known_.end(), [&](const Known& one) {
            return one.pattern.match(QString::fromStdString(finding + place)).hasMatch();
        });
        if (known != known_.end()) {
            ++known->met;
            continue;
        }
        std::printf("FAIL: %s%s\n", finding.c_str(), place.c_str());
        ++failures_;
    }
}

int Report::print(bool allPoints)
{
    for (auto& table : tables_) {
        std::printf("\n%-36s", "");
        for (const char* column : columns)
            std::printf(" %10s", column);
        for (auto& [name, counts] : table) {
            std::printf("\n%-36s", name.c_str());
            for (const char* column : columns)
                std::printf(" %10u", counts[column]);
        }
        std::printf("\n");
    }
    std::printf("\nknown points (docs/reliability.md)\n");
    for (const Known& known : known_) {
        const bool out_of_date = allPoints && known.met == 0;
        std::printf("%8u  %s%s\n", known.met, known.text.c_str(), out_of_date ? "  FAIL: not met" : "");
        failures_ += out_of_date ? 1 : 0;
    }
    return failures_;
}

} // namespace sweep
