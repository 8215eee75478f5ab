// A table of shares, each with its interval in words and as a bar.
#include "kit/evaluation/report_sources.h"

#include "kit/evaluation/figures.h"
#include "kit/evaluation/html.h"

#include <cstdint>

namespace velq::kit {

namespace {

// A share, the range in which it lies with 95 % confidence, and that range on a line from 0 to 100 %.
void writeShare(std::ostream &out, std::uint64_t hits, std::uint64_t all)
{
    const std::optional<Interval> interval = confidenceInterval(hits, all);
    if (!interval) {
        out << "<td>-</td>";
        return;
    }
    out << "<td>" << percentText(static_cast<double>(hits) / static_cast<double>(all)) << R"(<br><span class="soft">)"
        << decimalText(100 * interval->low, 1) << " to " << decimalText(100 * interval->high, 1)
        << R"(</span><span class="range"><i style="margin-left:)" << decimalText(100 * interval->low, 1)
        << "%;width:" << decimalText(100 * (interval->high - interval->low), 1) << "%\"></i></span></td>";
}

} // namespace

void writeSources(std::ostream &out, const std::vector<std::string> &names, const std::vector<ConfusionCounts> &counts)
{
    if (names.size() < 2) {
        return;
    }
    out << "<section class=\"card\"><h2>By source, training off</h2><div class=\"scroll\"><table><thead><tr><th>source"
           "</th><th>SC</th><th>BH</th><th>ham unsure</th></tr></thead><tbody>\n";
    for (std::size_t i = 0; i < names.size(); ++i) {
        const ConfusionCounts &source = counts[i];
        if (source.total() == 0) {
            continue; // only trained on
        }
        out << "<tr><th scope=\"row\">" << htmlText(names[i]) << "<br><span class=\"soft\">" << source.ham.total()
            << " ham, " << source.spam.total() << " spam</span></th>";
        writeShare(out, source.spam.ratedSpam, source.spam.total());
        writeShare(out, source.ham.ratedSpam, source.ham.total());
        writeShare(out, source.ham.ratedUnsure, source.ham.total());
        out << "</tr>\n";
    }
    const Metrics mean = meanOf(counts);
    out << "<tr><th scope=\"row\">mean over the sources</th><td>" << percentText(mean.spamCaught) << "</td><td>"
        << percentText(mean.hamBlocked) << "</td><td>" << percentText(mean.unsureHam) << "</td></tr>\n"
        << "</tbody></table></div><p class=\"soft\">Below each share: where it lies with 95 % "
           "confidence.</p></section>\n";
}

} // namespace velq::kit
