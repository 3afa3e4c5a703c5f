#include "dme/toml_section.h"

#include <algorithm>
#include <cmath>

namespace cmm::dme {
namespace {

constexpr double kRightAngle = 1e-6;  // how far axes may be from it, and from length 1

bool IsPrintable(char c) {
    return c >= ' ' && c <= '~' && c != '"';
}

std::optional<double> NumberIn(const toml::node &node) {
    const std::optional<double> number = node.value<double>();
    return node.is_number() && number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<std::vector<double>> NumbersIn(const toml::node &node, size_t count) {
    const toml::array *const array = node.as_array();
    if (!array || array->size() != count) return std::nullopt;
    std::vector<double> numbers;
    for (const toml::node &each : *array) {
        if (const auto number = NumberIn(each)) numbers.push_back(*number);
    }
    return numbers.size() == count ? std::optional(numbers) : std::nullopt;
}

}  // namespace

TomlSection::~TomlSection() {
    for (const auto &[key, node] : table_) {
        if (!read_.contains(key.str())) Complain(key.str(), "there is no such key here");
    }
}

std::string TomlSection::PathOf(std::string_view key) const {
    return path_.empty() ? std::string(key) : path_ + "." + std::string(key);
}

void TomlSection::Complain(std::string_view key, const std::string &text) {
    // A table made of dotted keys has no place of its own.
    const toml::node *node = table_.get(key);
    if (!node) node = &table_;
    complaints_.push_back({static_cast<int>(node->source().begin.line), PathOf(key), text});
}

const toml::node *TomlSection::Find(std::string_view key) {
    read_.emplace(key);
    return table_.get(key);
}

void TomlSection::Read(std::string_view key, double &value) {
    const toml::node *const node = Find(key);
    if (!node) return;
    if (const auto number = NumberIn(*node))
        value = *number;
    else
        Complain(key, "must be a number");
}

void TomlSection::ReadAbove0(std::string_view key, double &value) {
    double given = value;
    Read(key, given);
    if (given > 0)
        value = given;
    else
        Complain(key, "must be above 0");
}

void TomlSection::ReadNotNegative(std::string_view key, double &value) {
    double given = value;
    Read(key, given);
    if (given >= 0)
        value = given;
    else
        Complain(key, "must not be below 0");
}

void TomlSection::Read(std::string_view key, bool &value) {
    const toml::node *const node = Find(key);
    if (!node) return;
    if (const auto *given = node->as_boolean())
        value = given->get();
    else
        Complain(key, "must be true or false");
}

void TomlSection::Read(std::string_view key, std::string &value) {
    const toml::node *const node = Find(key);
    if (!node) return;
    const auto *const given = node->as_string();
    const bool right =
        given && !given->get().empty() && std::all_of(given->get().begin(), given->get().end(), IsPrintable);
    if (right)
        value = given->get();
    else
        Complain(key, "must be a text of printable ASCII characters without double quotes");
}

std::optional<std::vector<double>> TomlSection::Numbers(std::string_view key, size_t count) {
    const toml::node *const node = Find(key);
    if (!node) return std::nullopt;
    auto numbers = NumbersIn(*node, count);
    if (!numbers) Complain(key, "must be " + std::to_string(count) + " numbers in brackets");
    return numbers;
}

void TomlSection::Read(std::string_view key, Eigen::Vector3d &value) {
    if (const auto numbers = Numbers(key, 3)) value = Eigen::Map<const Eigen::Vector3d>(numbers->data());
}

void TomlSection::ReadRange(std::string_view key, double &lowest, double &highest) {
    const auto numbers = Numbers(key, 2);
    if (!numbers) return;
    if ((*numbers)[0] > (*numbers)[1]) return Complain(key, "must begin with the lower number");
    lowest = (*numbers)[0];
    highest = (*numbers)[1];
}

void TomlSection::ReadAxes(std::string_view key, Eigen::Matrix3d &axes) {
    const toml::node *const node = Find(key);
    if (!node) return;
    Eigen::Matrix3d given = Eigen::Matrix3d::Zero();
    const toml::array *const array = node->as_array();
    for (size_t i = 0; array && array->size() == 3 && i < 3; ++i) {
        if (const auto numbers = NumbersIn(*array->get(i), 3))
            given.col(static_cast<Eigen::Index>(i)) = Eigen::Map<const Eigen::Vector3d>(numbers->data());
    }
    if ((given.transpose() * given - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff() < kRightAngle)
        axes = given;
    else
        Complain(key, "must be three vectors of length 1 at right angles");
}

const toml::table *TomlSection::Table(std::string_view key) {
    const toml::node *const node = Find(key);
    if (!node) return nullptr;
    if (!node->is_table()) Complain(key, "must be a table");
    return node->as_table();
}

std::vector<const toml::table *> TomlSection::Tables(std::string_view key) {
    std::vector<const toml::table *> tables;
    const toml::node *const node = Find(key);
    if (!node) return tables;
    if (const toml::array *const array = node->as_array()) {
        for (const toml::node &each : *array) {
            if (each.is_table()) tables.push_back(each.as_table());
        }
        if (tables.size() == array->size()) return tables;
    }
    Complain(key, "must be tables, [[" + PathOf(key) + "]]");
    return {};
}

}  // namespace cmm::dme
