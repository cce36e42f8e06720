#pragma once
// The results of one run: NAME.json, the data files of the plots, and the markdown table.
#include "bench/stream_bench/BenchOptions.h"
#include "bench/stream_bench/RunSummary.h"
#include "bench/stream_bench/StreamTrial.h"

#include <string>
#include <vector>

namespace TESSERA {

class RunWriter {
public:
    RunWriter(const BenchOptions& options, const std::vector<TrialResult>& trials, const RunSummary& summary)
        : options(options), trials(trials), summary(summary) {}

    std::string json() const;
    // NAME.json, NAME.deviation.dat, NAME.feedback.dat, NAME.target.dat; false when one can't be written.
    bool writeFiles(std::string& error) const;
    static std::string tableHeader();
    std::string tableRow() const;

private:
    bool writeDeviationHistogram(const std::string& path) const;
    bool writeFeedback(const std::string& path) const;
    bool writeTarget(const std::string& path) const;

    const BenchOptions& options;
    const std::vector<TrialResult>& trials;
    const RunSummary& summary;
};

} // namespace TESSERA
