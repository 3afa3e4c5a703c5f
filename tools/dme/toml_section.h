// A table of a TOML file, read key by key; what is wrong and what nobody asked for is complained about.
#pragma once

#include <toml++/toml.h>

#include <Eigen/Core>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "dme/machine_file.h"

namespace cmm::dme {

/// Each reading leaves its value alone when the key is missing, or wrong, which it complains of.
class TomlSection {
  public:
    /// `path`: name of the table in complaints. All outlive this object.
    TomlSection(const toml::table &table, std::string path, std::vector<FileComplaint> &complaints)
        : table_(table), path_(std::move(path)), complaints_(complaints) {}
    TomlSection(const TomlSection &) = delete;
    TomlSection &operator=(const TomlSection &) = delete;
    /// Complains of the keys that were not read.
    ~TomlSection();

    bool Has(std::string_view key) const { return table_.contains(key); }
    /// A finite number.
    void Read(std::string_view key, double &value);
    void ReadAbove0(std::string_view key, double &value);
    void ReadNotNegative(std::string_view key, double &value);
    void Read(std::string_view key, bool &value);
    /// Printable characters, one at least, without double quotes.
    void Read(std::string_view key, std::string &value);
    void Read(std::string_view key, Eigen::Vector3d &value);
    /// Two numbers, the lower one first.
    void ReadRange(std::string_view key, double &lowest, double &highest);
    /// Three vectors, the columns, of length 1 and at right angles.
    void ReadAxes(std::string_view key, Eigen::Matrix3d &axes);

    /// Sub-tables. The name is that of the key.
    const toml::table *Table(std::string_view key);
    std::vector<const toml::table *> Tables(std::string_view key);
    std::string PathOf(std::string_view key) const;

    void Complain(std::string_view key, const std::string &text);

  private:
    const toml::node *Find(std::string_view key);
    std::optional<std::vector<double>> Numbers(std::string_view key, size_t count);

    const toml::table &table_;
    std::string path_;
    std::vector<FileComplaint> &complaints_;
    std::set<std::string, std::less<>> read_;
};

}  // namespace cmm::dme
