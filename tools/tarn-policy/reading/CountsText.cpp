#include "reading/CountsText.h"

#include <algorithm>

#include "libtarnmessage/MessageText.h"
#include "libtarnnames/JsonText.h"

namespace {

constexpr std::size_t kBarWidth = 40;
constexpr std::size_t kNameWidth = 40;

std::uint64_t greatest(const CountSection& section) {
    std::uint64_t most = 1;
    for (const auto& bar : section.bars) {
        most = std::max(most, bar.second);
    }
    return most;
}

void appendBar(std::string& text, const std::string& name, std::uint64_t number, std::uint64_t most) {
    const auto width = static_cast<std::size_t>(number * kBarWidth / most);
    text += "  " + name + std::string(name.size() < kNameWidth ? kNameWidth - name.size() : 0, ' ');
    const std::string digits = std::to_string(number);
    text += " " + std::string(digits.size() < 10 ? 10 - digits.size() : 0, ' ') + digits + " ";
    text += std::string(number != 0 ? std::max<std::size_t>(width, 1) : 0, '#') + "\n";
}

void appendEscaped(std::string& html, const std::string& text) {
    for (const char character : text) {
        switch (character) {
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '&':
                html += "&amp;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += character;
        }
    }
}

void appendCell(std::string& html, const std::string& text) {
    html += "<td>";
    appendEscaped(html, text);
    html += "</td>";
}

constexpr char kHead[] = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'">
<title>)";
constexpr char kStyle[] = R"(</title>
<style>
body { font: 15px/1.4 sans-serif; margin: 2em auto; max-width: 70em; padding: 0 1em; color: #222; }
table { border-collapse: collapse; width: 100%; }
td, th { text-align: left; padding: 2px 10px 2px 0; border-bottom: 1px solid #ddd; overflow-wrap: anywhere; }
td.number { text-align: right; width: 7em; }
td.name { width: 24em; }
td.bar div { background: #3b76af; height: 12px; min-width: 1px; }
input { font: inherit; width: 100%; padding: 4px; margin: 4px 0; box-sizing: border-box; }
</style></head><body>
<h1>)";
constexpr char kTail[] = R"(</tbody></table>
<script>
const rows = Array.from(document.querySelectorAll("#rows tbody tr"), row => [row, row.textContent.toLowerCase()]);
const search = document.getElementById("search");
search.addEventListener("input", () => {
    const words = search.value.toLowerCase().split(" ").filter(word => word);
    for (const [row, text] of rows) {
        row.hidden = !words.every(word => text.includes(word));
    }
});
</script>
</body></html>
)";

void appendChart(std::string& html, const CountSection& section) {
    html += std::string("<h2>") + section.title + "</h2>\n<table>\n";
    const std::uint64_t most = greatest(section);
    for (const auto& [name, number] : section.bars) {
        html += "<tr><td class=\"name\">";
        appendEscaped(html, name);
        html += "</td><td class=\"number\">" + std::to_string(number) +
                "</td><td class=\"bar\"><div style=\"width:" + std::to_string(number * 100 / most) +
                "%\"></div></td></tr>\n";
    }
    html += "</table>\n";
}

}  // namespace

std::vector<CountSection> sectionsOf(const SetCounts& counts) {
    std::vector<CountSection> sections{
        {"Records by namespace", "namespaces", counts.by(&CountRow::nameSpace)},
        {"Records by group", "groups", counts.by(&CountRow::group)},
        {"Records by class", "classes", counts.by(&CountRow::permClass)},
        {"Records by permission", "permissions", counts.by(&CountRow::permission)},
        {"Records by file", "records", counts.byFile(), true},
        {"Bytes by file", "bytes", {}, true},
        {"Records by size in bytes", "sizes", {}},
        {"Policy messages by fill", "fill", {}},
    };
    for (const FileCount& file : counts.files()) {
        sections[5].bars.emplace_back(file.file, file.bytes);
    }
    for (std::size_t index = 0; index < SetCounts::kSizes; ++index) {
        sections[6].bars.emplace_back(SetCounts::sizeName(index), counts.sizes()[index]);
    }
    for (std::size_t tenth = 0; tenth < SetCounts::kTenths; ++tenth) {
        sections[7].bars.emplace_back(std::to_string(tenth * 10) + " % and more", counts.fill()[tenth]);
    }
    return sections;
}

std::string countsText(const SetCounts& counts, std::size_t most) {
    std::string text;
    for (const CountSection& section : sectionsOf(counts)) {
        text += std::string(section.title) + "\n";
        const std::uint64_t longest = greatest(section);
        std::uint64_t rest = 0;
        for (std::size_t index = 0; index < section.bars.size(); ++index) {
            if (index < most) {
                const auto& [name, number] = section.bars[index];
                appendBar(text, section.isOfFiles ? tarnmessage::escaped(name) : name, number, longest);
            } else {
                rest += section.bars[index].second;
            }
        }
        if (section.bars.size() > most) {
            text += "  and " + std::to_string(section.bars.size() - most) + " more with " + std::to_string(rest) + "\n";
        }
    }
    return text;
}

Json::Value countsJson(const SetCounts& counts) {
    Json::Value object(Json::objectValue);
    for (const CountSection& section : sectionsOf(counts)) {
        Json::Value& bars = object[section.member];
        bars = Json::Value(Json::arrayValue);
        for (const auto& [name, number] : section.bars) {
            Json::Value bar;
            bar["name"] = name;
            if (!tarnnames::isUtf8(name)) {
                bar["nameHex"] = tarnnames::hexOf(name);
            }
            bar["count"] = Json::UInt64{number};
            bars.append(bar);
        }
    }
    return object;
}

std::string countsHtml(const SetCounts& counts, const std::string& title) {
    std::string html = kHead;
    appendEscaped(html, title);
    html += kStyle;
    appendEscaped(html, title);
    html += "</h1>\n<p>" + std::to_string(counts.files().size()) + " files, " + std::to_string(counts.records()) +
            " records, " + std::to_string(counts.bytes()) + " bytes</p>\n";
    for (const CountSection& section : sectionsOf(counts)) {
        appendChart(html, section);
    }
    html +=
        "<h2>All counts</h2>\n<input id=\"search\" placeholder=\"words to search for\">\n<table "
        "id=\"rows\"><thead><tr>";
    for (const char* name : {"File", "Group", "Namespace", "Class", "Permission", "Records"}) {
        html += std::string("<th>") + name + "</th>";
    }
    html += "</tr></thead><tbody>\n";
    for (const CountRow& row : counts.rows()) {
        html += "<tr>";
        for (const std::string& text : {row.file, row.group, row.nameSpace, row.permClass, row.permission}) {
            appendCell(html, text);
        }
        html += "<td class=\"number\">" + std::to_string(row.records) + "</td></tr>\n";
    }
    return html + kTail;
}
