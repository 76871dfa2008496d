#include "tests/jobs/conversation.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace scantk::test {
namespace {

[[noreturn]] void Refuse(const Step& step, const std::string& why) {
  throw std::runtime_error(step.file + ":" + std::to_string(step.line) + ": " + why);
}

// Words are parted by blanks; quotation marks keep blanks in a word, and a # ends the line.
std::vector<std::string> Words(const std::string& text) {
  std::vector<std::string> words;
  bool quoted = false, in_word = false;
  for (const char c : text) {
    if (c == '#' && !quoted && !in_word) break;
    if (c == '"') quoted = !quoted;
    const bool blank = (c == ' ' || c == '\t' || c == '\r') && !quoted;
    if (!blank && !in_word) words.emplace_back();
    in_word = !blank;
    if (!blank && c != '"') words.back() += c;
  }
  return words;
}

struct Table {
  std::vector<std::string> names;
  std::vector<std::vector<std::string>> rows;
};

class Reader {
 public:
  explicit Reader(const std::string& path) : folder_(std::filesystem::path(path).parent_path()) {
    Read(path);
    if (in_table_) throw std::runtime_error(path + ": a table has no end");
    if (!chooses_media_) found_.media = Media();
    Combine(0, {}, "");
  }

  Conversation Found() { return std::move(found_); }

 private:
  void Read(const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error("cannot read " + path.string());
    Step step;
    step.file = path.string();
    while (std::getline(file, step.text)) {
      ++step.line;
      if (step.text == "scantk conversation 1") {
        found_.recording.push_back(step.text);
        while (std::getline(file, step.text)) found_.recording.push_back(step.text);
        return;
      }
      step.words = Words(step.text);
      if (!step.words.empty()) Take(step);
    }
  }

  void Take(const Step& step) {
    const std::string& first = step.words[0];
    if (in_table_) {
      TakeRow(step);
    } else if (first == "include" && step.words.size() == 2) {
      Read(folder_ / "common" / (step.words[1] + ".txt"));
    } else if (first == "media") {
      chooses_media_ = true;
      for (size_t i = 1; i < step.words.size(); ++i) TakeMedium(step, step.words[i]);
    } else if (first == "cases") {
      in_table_ = true;
      tables_.push_back({{step.words.begin() + 1, step.words.end()}, {}});
    } else {
      steps_.push_back(step);
    }
  }

  void TakeMedium(const Step& step, const std::string& name) {
    const auto medium = MediumNamed(name);
    if (!medium) Refuse(step, "no medium is called " + name);
    const std::vector<Medium> here = Media();
    if (std::find(here.begin(), here.end(), *medium) != here.end()) found_.media.push_back(*medium);
  }

  void TakeRow(const Step& step) {
    Table& table = tables_.back();
    if (step.words[0] == "end") {
      in_table_ = false;
      if (table.rows.empty()) Refuse(step, "a table without a row");
    } else if (step.words.size() != table.names.size()) {
      Refuse(step, "a row of " + std::to_string(step.words.size()) + " under " +
                       std::to_string(table.names.size()) + " names");
    } else {
      table.rows.push_back(step.words);
    }
  }

  using Values = std::vector<std::pair<std::string, std::string>>;

  void Combine(size_t table, const Values& values, const std::string& cases) {
    if (table == tables_.size()) return AddScene(values, cases);
    for (const auto& row : tables_[table].rows) {
      Values more = values;
      std::string text = cases;
      for (size_t i = 0; i < row.size(); ++i) {
        more.emplace_back("$" + tables_[table].names[i], row[i]);
        text += (text.empty() ? "" : ", ") + tables_[table].names[i] + " " + row[i];
      }
      Combine(table + 1, more, text);
    }
  }

  void AddScene(const Values& values, const std::string& cases) {
    Scene scene{cases, steps_};
    for (Step& step : scene.steps) {
      for (const auto& [name, value] : values)
        for (size_t at; (at = step.text.find(name)) != std::string::npos;)
          step.text.replace(at, name.size(), value);
      step.words = Words(step.text);
      if (step.text.find(" $") != std::string::npos) Refuse(step, "no table has this name");
    }
    found_.scenes.push_back(std::move(scene));
  }

  const std::filesystem::path folder_;
  Conversation found_;
  std::vector<Step> steps_;
  std::vector<Table> tables_;
  bool in_table_ = false;
  bool chooses_media_ = false;
};

}  // namespace

Conversation ReadConversation(const std::string& path) {
  return Reader(path).Found();
}

}  // namespace scantk::test
