#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "agent/base64.h"
#include "agent/utc.h"
#include "tool/commands.h"
#include "tool/event_reader.h"
#include "tool/event_words.h"
#include "tool/report_template.h"
#include "tool/safe_text.h"

namespace vorgate::agent::tool {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t chunk_events = 200;      // whose details are packed together
constexpr std::size_t longest_text = 1 << 17;  // bytes of one text in the page
constexpr std::size_t preview_columns = 200;   // of a subject in the table
constexpr std::size_t shown_chains = 10;
constexpr std::string_view data_place = "@VORGATE_REPORT_DATA@";

struct Options {
  std::vector<std::string> logs;
  std::string output = "report.html";
};

// JSON, deflated, in base64: what the page unpacks when it needs it. Nothing in it
// can end the script element that it stands in.
std::string packed(const Json& json) {
  const std::string text = json.dump();
  uLongf size = compressBound(text.size());
  std::string bytes(size, '\0');
  if (compress2(reinterpret_cast<Bytef*>(bytes.data()), &size,
                reinterpret_cast<const Bytef*>(text.data()), text.size(), 6) != Z_OK) {
    throw std::bad_alloc();
  }
  bytes.resize(size);
  return to_base64(bytes);
}

// Numbers texts in the order of their first coming.
class Dictionary {
 public:
  std::size_t number(const std::string& text) {
    const auto [place, added] = numbers_.emplace(text, texts_.size());
    if (added) texts_.push_back(text);
    return place->second;
  }
  Json take() { return std::move(texts_); }

 private:
  std::unordered_map<std::string, std::size_t> numbers_;
  std::vector<std::string> texts_;
};

std::string show(std::string_view text, std::size_t limit = longest_text) {
  std::string out = visible(text.substr(0, limit), Charset::utf8, LineBreaks::kept);
  if (text.size() > limit) out += " [and " + std::to_string(text.size() - limit) + " bytes more]";
  return out;
}

std::string preview(std::string_view text, std::size_t width = preview_columns) {
  return cut(visible(text.substr(0, 4 * width), Charset::utf8), width, Charset::utf8);
}

std::string call_name(std::string_view call) {
  return std::string(call.substr(0, std::min(call.find('('), call.size())));
}

// What the call is known as to those who write PHP.
std::string sink_of(const LoggedEvent& event, const std::vector<std::string>& calls) {
  if (event.kind == event_kind::query_by_shape && event.event == event_name::sql_injection) {
    return "query";
  }
  if (event.detail == event_detail::include) return "include";
  if (event.detail == event_detail::request_forgery) return "curl";
  if (event.event == event_name::yaml_object) return "yaml_parse";
  for (const char* code :
       {event_detail::eval_code, event_detail::assert_code, event_detail::regexp_code}) {
    if (event.detail == code) return "eval";
  }
  return calls.empty() ? event.detail : call_name(calls.back());
}

std::string page_of(const LoggedEvent& event) {
  const std::string& uri = event.request[request_uri];
  if (!uri.empty()) return uri.substr(0, uri.find('?'));
  const std::string& script = event.request[script_path];
  return script.substr(script.rfind('/') + 1);
}

class Report {
 public:
  explicit Report(const Policy& policy) : policy_(policy) {}

  void add_log(const std::string& path) {
    EventReader reader;
    std::string error;
    if (!reader.open(path, 0, &error)) give_up("report", error);
    std::uint64_t events = 0;
    const LoggedEvent* event;
    while ((event = reader.next()) != nullptr || (event = reader.finish()) != nullptr) {
      add(*event);
      ++events;
    }
    if (!reader.failure().empty()) give_up("report", reader.failure());
    logs_.push_back({{"path", preview(path)}, {"events", events}, {"skipped", reader.skipped()}});
  }

  std::uint64_t events() const { return time_.size(); }
  std::uint64_t findings() const { return findings_; }
  std::uint64_t skipped() const {
    std::uint64_t sum = 0;
    for (const Json& log : logs_) sum += log["skipped"].get<std::uint64_t>();
    return sum;
  }

  // The page's data as JSON that can stand in a script element.
  std::string data() {
    close_chunk();
    Json columns{{"time", std::move(time_)},     {"verdict", std::move(verdict_)},
                 {"event", std::move(event_)},   {"category", std::move(category_)},
                 {"sink", std::move(sink_)},     {"subject", std::move(subject_)},
                 {"client", std::move(client_)}, {"page", std::move(page_)},
                 {"method", std::move(method_)}, {"verdicts", verdicts_.take()},
                 {"events", events_.take()},     {"categories", categories_.take()},
                 {"sinks", sinks_.take()},       {"subjects", subjects_.take()},
                 {"clients", clients_.take()},   {"pages", pages_.take()},
                 {"methods", methods_.take()}};
    Json words = Json::object();
    for (const EventWords& each : all_words) {
      words[each.event] = {each.title, each.what, each.why, each.remedy};
    }
    Json category_texts = Json::object();
    for (const NamedCategory& each : categories) {
      category_texts[each.name] = each.words;
    }
    Json verdict_texts = Json::object();
    for (const VerdictWords& each : all_verdicts) verdict_texts[each.verdict] = each.words;
    Json labels = Json::array();
    for (std::size_t i = 0; i < request_texts; ++i) {
      labels.push_back(request_text_label(static_cast<RequestText>(i)));
    }
    const Json all{{"made", now_us() / 1000},
                   {"version", VORGATE_VERSION},
                   {"logs", std::move(logs_)},
                   {"words", std::move(words)},
                   {"category_words", std::move(category_texts)},
                   {"verdict_words", std::move(verdict_texts)},
                   {"labels", std::move(labels)},
                   {"chains", worst_chains()},
                   {"chunk_events", chunk_events},
                   {"columns", packed(columns)},
                   {"chunks", std::move(chunks_)}};
    const std::string text = all.dump();
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
      if (c == '<') {
        out += "\\u003c";
      } else {
        out += c;
      }
    }
    return out;
  }

 private:
  struct Chain {
    std::vector<std::string> calls;
    std::string script;
    std::string event;
    std::size_t row = 0;  // of the one that stands for them
    std::uint64_t count = 0;
    std::uint64_t let_go = 0;
    int weight = 0;
  };

  void add(const LoggedEvent& event) {
    const std::vector<std::string> calls = calls_of(event);
    const std::size_t row = time_.size();
    const auto time = parse_utc(event.time);
    time_.push_back(time ? Json(*time / 1000) : Json(nullptr));
    verdict_.push_back(verdicts_.number(preview(event.verdict)));
    event_.push_back(events_.number(preview(event.event)));
    category_.push_back(categories_.number(preview(event.category)));
    sink_.push_back(sinks_.number(preview(sink_of(event, calls), 80)));
    subject_.push_back(subjects_.number(preview(event.subject)));
    const std::string client = client_of(event, policy_);
    client_.push_back(clients_.number(preview(client, 80)));
    page_.push_back(pages_.number(preview(page_of(event))));
    method_.push_back(methods_.number(preview(event.request[request_method], 20)));
    if (event.is_finding()) {
      ++findings_;
      add_chain(event, calls, row);
    }

    Json call_texts = Json::array();
    for (const std::string& call : calls) call_texts.push_back(show(call, 2048));
    Json request = Json::array();
    for (std::size_t i = 0; i < request_texts; ++i) request.push_back(show(event.request[i]));
    Json sources = Json::array();
    for (const Source& source : sources_of(event)) {
      sources.push_back({source.place, preview(source.name), preview(source.value),
                         source.value == event.subject                ? 0
                         : source.value.size() > event.subject.size() ? 1
                                                                      : 2});
    }
    chunk_.push_back({show(event.time), show(event.kind), show(event.detail), show(event.target),
                      show(event.subject), event.code ? Json(*event.code) : Json(nullptr),
                      show(event.host), event.pid, event.tid, event.lost_before,
                      std::move(call_texts), std::move(request), std::move(sources),
                      event.is_finding() ? snippet_for(event, client) : Json(nullptr)});
    if (chunk_.size() == chunk_events) close_chunk();
  }

  void close_chunk() {
    if (chunk_.empty()) return;
    chunks_.push_back(packed(chunk_));
    chunk_ = Json::array();
  }

  // Many findings come from one client on one page.
  const Json& snippet_for(const LoggedEvent& event, const std::string& client) {
    const std::string key = event.request[server_name] + '\n' + page_of(event) + '\n' +
                            (event.request[request_uri].empty() ? "-" : "+") + client;
    const auto [place, added] = snippets_.emplace(key, Json());
    if (added) {
      const AllowSnippet snippet = allow_snippet(event, policy_);
      place->second = {snippet.text, snippet.warnings};
    }
    return place->second;
  }

  void add_chain(const LoggedEvent& event, const std::vector<std::string>& calls, std::size_t row) {
    std::string key = event.event;
    for (const std::string& call : calls) key += '\n' + call_name(call);
    Chain& chain = chains_[key];
    ++chain.count;
    if (event.verdict != event_verdict::blocked) ++chain.let_go;
    if (chain.count > 1) return;
    chain.row = row;
    chain.event = event.event;
    chain.script = preview(page_of(event), 60);
    if (calls.size() < 2) {
      chain.calls.push_back(preview(sink_of(event, calls), 70));
    } else {
      for (const std::string& call : calls) chain.calls.push_back(preview(call, 70));
    }
    constexpr std::pair<std::string_view, int> weights[]{
        {event_name::web_shell, 50},
        {event_name::deserialisation_chain, 45},
        {event_name::code_execution, 40},
        {event_name::command_execution, 35},
        {event_name::deserialisation_file_create, 30},
        {event_name::file_include, 25}};
    for (const auto& [name, weight] : weights) {
      if (event.event == name) chain.weight = weight;
    }
    chain.weight += static_cast<int>(std::min<std::size_t>(calls.size(), 10));
  }

  // What was let go before what was stopped, then by what it could have done.
  Json worst_chains() const {
    std::vector<const Chain*> order;
    for (const auto& [key, chain] : chains_) order.push_back(&chain);
    std::sort(order.begin(), order.end(), [](const Chain* a, const Chain* b) {
      if ((a->let_go > 0) != (b->let_go > 0)) return a->let_go > 0;
      if (a->weight != b->weight) return a->weight > b->weight;
      return a->count != b->count ? a->count > b->count : a->row < b->row;
    });
    Json out = Json::array();
    for (std::size_t i = 0; i < order.size() && i < shown_chains; ++i) {
      const Chain& chain = *order[i];
      out.push_back({{"event", preview(chain.event)},
                     {"script", chain.script},
                     {"calls", chain.calls},
                     {"row", chain.row},
                     {"count", chain.count},
                     {"let_go", chain.let_go}});
    }
    return out;
  }

  const Policy& policy_;
  std::uint64_t findings_ = 0;
  Json logs_ = Json::array();
  std::vector<Json> time_;
  std::vector<std::size_t> verdict_, event_, category_, sink_, subject_, client_, page_, method_;
  Dictionary verdicts_, events_, categories_, sinks_, subjects_, clients_, pages_, methods_;
  Json chunk_ = Json::array();
  Json chunks_ = Json::array();
  std::unordered_map<std::string, Json> snippets_;
  std::unordered_map<std::string, Chain> chains_;
};

// Writes beside the file and moves it there: whoever reads sees one or the other.
void write_file(const std::string& path, std::initializer_list<std::string_view> parts) {
  struct stat there {};
  if (stat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode)) {
    give_up("report", path + ": is there and is no regular file; name another with -o");
  }
  std::string temporary = path + ".XXXXXX";
  const int descriptor = mkstemp(temporary.data());
  std::FILE* const file = descriptor >= 0 ? fdopen(descriptor, "wb") : nullptr;
  bool good = file != nullptr;
  if (good) {
    // As private as the log: it holds cookies and form fields.
    const mode_t mask = umask(0);
    umask(mask);
    good = fchmod(descriptor, 0640 & ~mask) == 0;
    for (const std::string_view part : parts) {
      good = good && std::fwrite(part.data(), 1, part.size(), file) == part.size();
    }
    good = std::fclose(file) == 0 && good;
    good = good && std::rename(temporary.c_str(), path.c_str()) == 0;
  }
  if (good) return;
  const int reason = errno;
  if (descriptor >= 0) unlink(temporary.c_str());
  give_up("report", path + ": cannot be written: " + strerrordesc_np(reason) +
                        "; name another place with -o");
}

void run(Options options) {
  const std::string_view page = report_template();
  const std::size_t place = page.find(data_place);
  if (place == std::string_view::npos) {
    give_up("report",
            "this build is without the report's page: npm was not there, or could not get what "
            "the page is made of; install npm and build with -DVORGATE_REPORT=ON");
  }
  std::string first = options.logs.empty() ? std::string() : options.logs.front();
  const Policy policy = policy_for("report", &first);
  if (options.logs.empty()) options.logs.push_back(first);
  Report report(policy);
  for (const std::string& log : options.logs) report.add_log(log);
  const std::uint64_t events = report.events();
  write_file(options.output,
             {page.substr(0, place), report.data(), page.substr(place + data_place.size())});
  std::fprintf(stderr, "vorgate-agent report: %s: %llu events, %llu of them findings",
               options.output.c_str(), static_cast<unsigned long long>(events),
               static_cast<unsigned long long>(report.findings()));
  if (report.skipped() > 0) {
    std::fprintf(stderr, "; %llu lines are no events",
                 static_cast<unsigned long long>(report.skipped()));
  }
  std::fprintf(stderr, "\n");
}

}  // namespace

void add_report(CLI::App& program) {
  CLI::App* const command =
      program.add_subcommand("report", "Makes a web page of event logs, in one file, to look at");
  auto options = std::make_shared<Options>();
  command->add_option("--log,LOG", options->logs,
                      "event logs, also .gz, or - (the policy's), oldest first");
  command->add_option("-o,--output", options->output, "the file to write (report.html)")
      ->type_name("FILE");
  command->callback([options] { run(*options); });
}

}  // namespace vorgate::agent::tool
