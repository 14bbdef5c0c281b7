// SPDX-License-Identifier: MIT
// What the watch brings for Prometheus and Grafana, held against what it really tells: by itself, and
// with a Prometheus that asks it while sources come and go.
#include <atomic>
#include <regex>
#include <set>
#include <thread>

#include "support/await.h"
#include "support/loopback.h"
#include "support/tool_process.h"
#include "support/tool_run.h"

namespace {

using namespace zvtest;
using nlohmann::json;

// -> the body; empty when there is no answer
std::string get(int port, const std::string& path) {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_in to = loopback(port);
    std::string all;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0) {
        const std::string request = "GET " + path + " HTTP/1.0\r\nHost: localhost\r\n\r\n";
        send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        char piece[65536];
        for (ssize_t n; (n = recv(fd, piece, sizeof piece, 0)) > 0;)
            all.append(piece, static_cast<size_t>(n));
    }
    close(fd);
    const size_t end = all.find("\r\n\r\n");
    return end == all.npos ? "" : all.substr(end + 4);
}

std::set<std::string> matches(const std::string& text, const std::string& expression) {
    const std::regex regex(expression);
    std::set<std::string> all;
    for (std::sregex_iterator it(text.begin(), text.end(), regex), end; it != end; ++it)
        all.insert((*it)[1]);
    return all;
}

std::string with(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// The labels that a query names: in selectors, after on, by, ... and in texts.
std::set<std::string> labels_in(const std::string& query) {
    std::set<std::string> all = matches(query, "[{,] *([a-z_]+) *(?:=~|!=|!~|=)\"");
    for (const std::string& list : matches(query, "(?:by|without|on|ignoring) *\\(([^)]*)\\)"))
        all.merge(matches(list, "([a-z_]+)"));
    all.merge(matches(query, "\\$labels\\.([a-z_]+)"));
    all.merge(matches(query, "\\{\\{([a-z_]+)\\}\\}"));
    return all;
}

class Dashboard {
  public:
    explicit Dashboard(const std::string& text) : json_(json::parse(text)) {
        for (const json& panel : json_.at("panels"))
            for (const json& target : panel.value("targets", json::array()))
                queries_.push_back(target.at("expr"));
    }
    const json& all() const { return json_; }
    const std::vector<std::string>& queries() const { return queries_; }

  private:
    json json_;
    std::vector<std::string> queries_;
};

class Prometheus : public ToolTest {
  protected:
    Prometheus() {
        for (Loopback* const one : {&a_, &b_, &r_})
            one->give_port_away();
        sender_ = std::thread([this] { send_on(); });
    }
    ~Prometheus() override {
        ends_ = true;
        sender_.join();
        if (prometheus_ <= 0) return;
        kill(prometheus_, SIGKILL);
        waitpid(prometheus_, nullptr, 0);
    }

    // The same stream to three ports, again and again.
    void send_on() {
        const std::string bytes = read_file(media("three-programs.ts"));
        const size_t datagrams = bytes.size() / 1316;
        for (size_t i = 0; !ends_; ++i) {
            const std::string payload = bytes.substr(i % datagrams * 1316, 1316);
            a_.send_at_once(payload);
            b_.send_at_once(payload);
            if (i % 50 != 0) r_.send_at_once(rtp_datagram(i, payload));
            std::this_thread::sleep_for(std::chrono::milliseconds(4));
        }
    }
    std::string section(const std::string& name, const std::string& scheme,
                        const Loopback& from) const {
        return "[" + name + "]\nurl = " + scheme + "://127.0.0.1:" + std::to_string(from.port) +
               "\nlabels.site = here\n";
    }
    void start_watch() {
        file(all_);
        watch_.emplace(dir_, std::vector<std::string>{"monitor", "--config", "stream", "--listen",
                                                      "127.0.0.1:" + std::to_string(port_)});
        ASSERT_TRUE(await([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            const std::string text = get(port_, "/metrics");
            return matches(text, "(service_info)\\{source=\"[abr]\"").size() == 1 &&
                   matches(text, "table_interval_seconds\\{source=\"([abr])\"").size() == 3;
        })) << read_file(dir_ / "stderr");
    }
    void reload(const std::string& text) {
        file(text);
        watch_->send(SIGHUP);
    }
    bool start_prometheus() {
        folder_.put("p.yml",
                    "global: {scrape_interval: 1s, evaluation_interval: 1s}\n"
                    "rule_files: ['" ZV_SHARE
                    "/prometheus/zvprobe.rules.yml']\n"
                    "scrape_configs: [{job_name: zvprobe, static_configs: [{targets: "
                    "['127.0.0.1:" +
                        std::to_string(port_) + "']}]}]\n");
        prometheus_ = fork();
        if (prometheus_ == 0) {
            if (chdir(dir_.c_str()) != 0) _exit(127);
            const int log = creat("prometheus.log", 0600);
            dup2(log, STDOUT_FILENO);
            dup2(log, STDERR_FILENO);
            const std::string listen = "--web.listen-address=127.0.0.1:" + std::to_string(asked_);
            execlp("prometheus", "prometheus", "--config.file=p.yml", "--storage.tsdb.path=data",
                   listen.c_str(), nullptr);
            _exit(127);
        }
        return await([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            return get(asked_, "/-/ready").find("Ready") != std::string::npos;
        });
    }
    // -> the samples of a query; null when it is refused
    json query(const std::string& text) const {
        std::string path = "/api/v1/query?query=";
        char code[4];
        for (const char c : text) {
            std::snprintf(code, sizeof code, "%%%02X", static_cast<unsigned char>(c));
            path += code;
        }
        const json answer = json::parse(get(asked_, path), nullptr, false);
        return answer.is_object() && answer["status"] == "success" ? answer["data"]["result"]
                                                                   : json();
    }
    // -> the value of the first one, 0 when there is none
    double value(const std::string& text) const {
        const json all = query(text);
        return all.empty() ? 0 : std::stod(all[0]["value"][1].get<std::string>());
    }
    bool becomes_true(const std::string& text) const {
        return await([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            return !query(text).empty();
        });
    }

    Loopback a_, b_, r_;
    const std::string all_ =
        section("a", "udp", a_) + section("b", "udp", b_) + section("r", "rtp", r_);
    const int port_ = free_port(SOCK_STREAM);
    const int asked_ = free_port(SOCK_STREAM);
    const Dashboard dashboard_{read_file(ZV_SHARE "/grafana/zvprobe.json")};
    const std::string rules_ = read_file(ZV_SHARE "/prometheus/zvprobe.rules.yml");
    std::optional<ToolProcess> watch_;
    pid_t prometheus_ = 0;
    std::atomic<bool> ends_{false};
    std::thread sender_;
};

TEST_F(Prometheus, FindsEveryNameOfRulesAndDashboardInTheMetrics) {
    start_watch();
    const std::string text = get(port_, "/metrics");
    const auto names = matches(text, "\n(zvprobe_[a-z0-9_]+)[{ ]");
    auto labels = matches(text, "[{,]([a-z_]+)=\"");
    labels.insert({"job", "instance"});
    std::set<std::string> used;
    const auto check = [&](const std::string& query) {
        for (const std::string& name : matches(query, "\\b(zvprobe_[a-z0-9_]+)")) {
            EXPECT_TRUE(names.contains(name)) << name;
            used.insert(name);
        }
        for (const std::string& label : labels_in(query))
            EXPECT_TRUE(labels.contains(label)) << label << " in " << query;
    };
    check(rules_);
    EXPECT_GE(used.size(), 6u);
    for (const json& panel : dashboard_.all()["panels"])
        for (const json& target : panel.value("targets", json::array()))
            check(target["expr"].get<std::string>() + target["legendFormat"].get<std::string>());
    for (const std::string& name : names)
        EXPECT_TRUE(used.contains(name)) << name << " is on no panel";
    // And the manual knows them all.
    const auto told =
        matches(read_file(ZV_SHARE "/../docs/OPERATIONS.md"), "\n\\| `(zvprobe_[a-z0-9_]+)`");
    EXPECT_EQ(told, names);
}

TEST_F(Prometheus, HasADashboardThatGrafanaTakes) {
    const json& all = dashboard_.all();
    EXPECT_GE(all["schemaVersion"], 36);
    EXPECT_TRUE(all["id"].is_null());
    std::map<std::string, json> variables;
    for (const json& one : all["templating"]["list"])
        variables[one["name"]] = one;
    EXPECT_EQ(variables["datasource"]["type"], "datasource");
    EXPECT_EQ(variables["datasource"]["query"], "prometheus");
    EXPECT_EQ(variables["source"]["datasource"]["uid"], "${datasource}");
    std::vector<std::string> rows;
    std::set<int> ids;
    std::set<std::pair<int, int>> taken;
    for (const json& panel : all["panels"]) {
        EXPECT_TRUE(ids.insert(panel["id"].get<int>()).second) << panel["id"];
        const json& place = panel["gridPos"];
        for (int x = place["x"]; x < place["x"].get<int>() + place["w"].get<int>(); ++x)
            for (int y = place["y"]; y < place["y"].get<int>() + place["h"].get<int>(); ++y)
                EXPECT_TRUE(x < 24 && taken.insert({x, y}).second) << panel["title"];
        if (panel["type"] == "row") {
            rows.push_back(panel["title"]);
            continue;
        }
        EXPECT_EQ(panel["datasource"]["uid"], "${datasource}") << panel["title"];
        EXPECT_FALSE(panel["targets"].empty()) << panel["title"];
    }
    EXPECT_EQ(rows, (std::vector<std::string>{"Overview", "Continuity and loss", "TR 101 290",
                                              "PCR", "Tables", "Reception"}));
}

TEST_F(Prometheus, CountsOnWhileSourcesComeAndGo) {
    if (shell("command -v prometheus").status != 0) GTEST_SKIP() << "prometheus is not installed";
    start_watch();
    ASSERT_TRUE(start_prometheus()) << read_file(dir_ / "prometheus.log");
    ASSERT_TRUE(becomes_true("zvprobe_ts_packets_total{source=\"b\",site=\"here\"} > 0"));
    EXPECT_EQ(value("up{job=\"zvprobe\"}"), 1);
    reload(section("a", "udp", a_));
    ASSERT_TRUE(becomes_true("count(zvprobe_up) == 1"));
    const double before = value("max_over_time(zvprobe_ts_packets_total{source=\"b\"}[1m])");
    EXPECT_GT(before, 0);
    reload(all_);
    EXPECT_TRUE(becomes_true("zvprobe_ts_packets_total{source=\"b\"} > " + std::to_string(before)));
    EXPECT_TRUE(becomes_true("count(zvprobe_up == 1) == 3"));
    for (const std::string& name : matches(get(port_, "/metrics"), "# TYPE ([a-z0-9_]+) counter")) {
        const std::string resets = "resets(" + name + "[1m])";
        EXPECT_EQ(value("count(" + resets + ")"), value("count(" + resets + " == 0)")) << name;
        EXPECT_FALSE(query(resets).empty()) << name;
    }
    EXPECT_TRUE(becomes_true("zvprobe_rtp_packets_lost_total{source=\"r\"} > 0"));

    for (const std::string& text : dashboard_.queries()) {
        const json got = query(with(with(text, "$source", ".*"), "$__rate_interval", "5s"));
        EXPECT_TRUE(got.is_array()) << text;
        EXPECT_TRUE(text.ends_with("> 0") || !got.empty()) << text;
    }
    const size_t wanted = matches(rules_, "(?:alert|record): ([A-Za-z0-9:_]+)").size();
    EXPECT_TRUE(await([&] {
        const std::string text = get(asked_, "/api/v1/rules");
        size_t good = 0;
        for (size_t at = 0; (at = text.find("\"health\":\"ok\"", at)) != text.npos; ++at)
            ++good;
        return good == wanted;
    })) << get(asked_, "/api/v1/rules");
}

}  // namespace
