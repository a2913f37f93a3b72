#include "gateway/metrics/metrics_text.h"

#include <algorithm>
#include <charconv>

namespace gateway {

namespace {

const char* kind_word(metric_kind kind, metrics_format format) {
    switch (kind) {
    case metric_kind::counter:
        return "counter";
    case metric_kind::histogram:
        return "histogram";
    case metric_kind::info:
        return format == metrics_format::open ? "info" : "gauge";
    case metric_kind::gauge:
        break;
    }
    return "gauge";
}

// What stands behind the family's name in the names of its samples.
std::string_view sample_suffix(metric_kind kind) {
    if (kind == metric_kind::counter)
        return "_total";
    return kind == metric_kind::info ? "_info" : "";
}

std::string text_of(double value) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
    return {digits, end};
}

} // namespace

void duration_counts::add(std::uint64_t ms) {
    const auto* const found =
        std::find_if(bounds.begin(), bounds.end(), [ms](const bound& each) { return ms <= each.ms; });
    counts.at(static_cast<std::size_t>(found - bounds.begin()))++;
    sum_ms += ms;
}

// The older format names counters and infos by their samples, the newer one by the family.
void metrics_text::begin(const metric& about) {
    family_ = &about;
    std::string name = about.name;
    if (format_ == metrics_format::plain)
        name += sample_suffix(about.kind);
    text_ += "# HELP " + name + ' ' + about.help + '\n';
    text_ += "# TYPE " + name + ' ' + kind_word(about.kind, format_) + '\n';
    if (format_ == metrics_format::open && about.unit[0] != '\0')
        text_ += "# UNIT " + name + ' ' + about.unit + '\n';
}

void metrics_text::sample(labels of, double value) {
    write(sample_suffix(family_->kind), of, nullptr, text_of(value));
}

void metrics_text::sample(labels of, std::uint64_t value) {
    write(sample_suffix(family_->kind), of, nullptr, std::to_string(value));
}

void metrics_text::sample(labels of, const duration_counts& counted) {
    std::uint64_t so_far = 0;
    for (std::size_t at = 0; at < counted.counts.size(); at++) {
        so_far += counted.counts[at];
        const label bucket{"le", at < counted.bounds.size() ? counted.bounds[at].seconds : "+Inf"};
        write("_bucket", of, &bucket, std::to_string(so_far));
    }
    write("_sum", of, nullptr, text_of(static_cast<double>(counted.sum_ms) / 1000));
    write("_count", of, nullptr, std::to_string(so_far));
}

std::string metrics_text::finish() {
    if (format_ == metrics_format::open)
        text_ += "# EOF\n";
    return std::move(text_);
}

void metrics_text::write(std::string_view suffix, labels of, const label* further, std::string_view value) {
    text_ += family_->name;
    text_ += suffix;
    if (of.size() > 0 || further != nullptr) {
        text_ += '{';
        bool first = true;
        for (const label& one : of)
            write_label(one, std::exchange(first, false));
        if (further != nullptr)
            write_label(*further, first);
        text_ += '}';
    }
    text_ += ' ';
    text_ += value;
    text_ += '\n';
}

// A router's name is whatever somebody named a file: it must not end the label, nor the line.
void metrics_text::write_label(const label& one, bool first) {
    if (!first)
        text_ += ',';
    text_ += one.first;
    text_ += "=\"";
    for (const char letter : one.second)
        if (letter == '\n')
            text_ += "\\n";
        else if (letter == '"' || letter == '\\')
            (text_ += '\\') += letter;
        else
            text_ += letter;
    text_ += '"';
}

} // namespace gateway
