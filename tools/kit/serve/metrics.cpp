// Counters, histograms and their text. Label values are words of this program's own, so that none needs escaping.
#include "kit/serve/metrics.h"

#include <cstdio>

namespace velq::kit {

namespace {

// Upper bounds in microseconds, each a bit more than twice the one before.
constexpr std::array<std::int64_t, 14> bounds = {50,    100,   250,   500,    1000,   2500,    5000,
                                                 10000, 25000, 50000, 100000, 250000, 1000000, 5000000};

} // namespace

static std::string seconds(std::int64_t microseconds)
{
    constexpr double second = 1e6;
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(microseconds) / second);
    return text;
}

static std::string head(const std::string &name, const std::string &help, const std::string &type)
{
    return "# HELP " + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

static std::string line(const std::string &name, const std::string &labels, const std::string &value)
{
    return name + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
}

static std::string label(const std::string &name, const std::string &value)
{
    return name + "=\"" + value + "\"";
}

static std::string byOne(const std::string &name, const std::string &help, const std::string &key,
                         const std::map<std::string, std::uint64_t> &counts)
{
    std::string text = head(name, help, "counter");
    for (const auto &[value, count] : counts) {
        text += line(name, label(key, value), std::to_string(count));
    }
    return text;
}

static std::string byTwo(const std::string &name, const std::string &help, const std::string &first,
                         const std::string &second,
                         const std::map<std::pair<std::string, std::string>, std::uint64_t> &counts)
{
    std::string text = head(name, help, "counter");
    for (const auto &[values, count] : counts) {
        text += line(name, label(first, values.first) + "," + label(second, values.second), std::to_string(count));
    }
    return text;
}

static std::string gauge(const std::string &name, const std::string &help, std::size_t value)
{
    return head(name, help, "gauge") + line(name, {}, std::to_string(value));
}

void Metrics::Histogram::add(std::int64_t duration)
{
    for (std::size_t i = 0; i < bounds.size(); ++i) {
        buckets.at(i) += duration <= bounds.at(i) ? 1 : 0;
    }
    ++count;
    microseconds += duration;
}

std::string Metrics::Histogram::text(const std::string &name, const std::string &help) const
{
    std::string text = head(name, help, "histogram");
    for (std::size_t i = 0; i < bounds.size(); ++i) {
        text += line(name + "_bucket", label("le", seconds(bounds.at(i))), std::to_string(buckets.at(i)));
    }
    text += line(name + "_bucket", label("le", "+Inf"), std::to_string(count));
    text += line(name + "_sum", {}, seconds(microseconds));
    return text + line(name + "_count", {}, std::to_string(count));
}

void Metrics::rated(const std::string &verdict, const std::string &reason, std::int64_t microseconds)
{
    const std::scoped_lock lock(mutex_);
    ++ratings_[{verdict, reason}];
    rating_.add(microseconds);
}

void Metrics::corrected(const std::string &kind)
{
    const std::scoped_lock lock(mutex_);
    ++corrections_[kind];
}

void Metrics::failed(const std::string &problem)
{
    const std::scoped_lock lock(mutex_);
    ++failures_[problem];
}

void Metrics::answered(const std::string &path, unsigned status, std::int64_t microseconds)
{
    const std::scoped_lock lock(mutex_);
    const std::string code = std::to_string(status);
    ++requests_[{path, code}];
    request_.add(microseconds);
}

void Metrics::forwarded(const std::string &verdict, const std::string &outcome)
{
    const std::scoped_lock lock(mutex_);
    ++forwarded_[{verdict, outcome}];
}

void Metrics::journalFailed()
{
    const std::scoped_lock lock(mutex_);
    ++journalFailures_;
}

std::string Metrics::text(const Gauges &gauges) const
{
    const std::scoped_lock lock(mutex_);
    return byTwo("velq_ratings_total", "Messages rated, by verdict and by the step that decided.", "verdict", "reason",
                 ratings_) +
           byOne("velq_corrections_total", "Corrections by users: ham, spam, undo.", "kind", corrections_) +
           byOne("velq_failures_total", "Requests that were not done, by the kind of problem.", "problem", failures_) +
           byTwo("velq_requests_total", "Requests answered, by path and status.", "path", "status", requests_) +
           byTwo("velq_forwarded_total", "Messages on their way through, by verdict and by what became of them.",
                 "verdict", "outcome", forwarded_) +
           head("velq_journal_failures_total", "Messages that the journal did not take.", "counter") +
           line("velq_journal_failures_total", {}, std::to_string(journalFailures_)) +
           gauge("velq_queue_length", "Requests that wait for the engine.", gauges.queueLength) +
           gauge("velq_queue_limit", "Requests that may wait for the engine.", gauges.queueLimit) +
           gauge("velq_connections", "Open connections.", gauges.connections) +
           gauge("velq_connections_limit", "Connections that may be open.", gauges.connectionLimit) +
           gauge("velq_forwarding", "Messages that are being handed to the receiver.", gauges.forwarding) +
           rating_.text("velq_rating_seconds", "Time of the engine for one message.") +
           request_.text("velq_request_seconds", "Time from the end of a request to its answer.");
}

} // namespace velq::kit
