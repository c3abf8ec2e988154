// SPDX-License-Identifier: Apache-2.0
// byodctl show station, show stations, show feeds, unset station
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "byod_tlv.h"
#include "byodctl/command_line/command.h"
#include "byodctl/command_line/json_option.h"
#include "byodctl/commands/change_report.h"
#include "byodctl/daemon/client.h"
#include "byodctl/identification/identification_fields.h"
#include "byodctl/identification/station_fields.h"
#include "byodctl/text/listing.h"
#include "byodctl/text/method_names.h"
#include "byodctl/text/since.h"
#include "byodctl/text/table.h"
#include "protocol/extensions.h"

namespace byod::ctl {
namespace {

constexpr char kKeyHelp[] = "MAC or IP address of a terminal";

// ---------------------------------------------------------------- one station

/// "2026-...Z" and who said so.
std::string ByFeed(const Fields& fields) {
  const std::string feed = fields.Text(BYOD_EXT_FEED);
  return TimeText(fields.Counter(BYOD_EXT_TIME)) + (feed.empty() ? "" : " by " + feed);
}

class StationTable {
 public:
  explicit StationTable(const Fields& station) : station_(station) {}

  void Write() {
    AddAnswer();
    AddText("host name", BYOD_EXT_HOST_NAME);
    AddText("vendor class", BYOD_EXT_VENDOR_CLASS);
    AddText("access device", BYOD_EXT_ACCESS_DEVICE);
    AddText("port", BYOD_EXT_PORT);
    AddText("session", BYOD_EXT_SESSION);
    Add("first seen", TimeText(station_.Counter(BYOD_EXT_FIRST_TIME)));
    Add("last seen", TimeText(station_.Counter(BYOD_EXT_TIME)));
    AddAddresses();
    AddMethods();
    AddSeen("option list", BYOD_EXT_SEEN_LIST);
    AddSeen("user-agent", BYOD_EXT_SEEN_AGENT);
    AddHistory();
    table_.Write(std::cout);
  }

 private:
  void Add(const std::string& label, const std::string& text, Emphasis emphasis = Emphasis::kNone) {
    table_.Add({label, Cell(text)}, emphasis);
  }

  void AddText(const std::string& label, uint16_t type) {
    if (station_.Has(type)) Add(label, station_.Text(type));
  }

  void AddAnswer() {
    const FingerprintText text = FingerprintIn(station_);
    const Answer answer = AnswerIn(station_);
    Add("mac", text.mac + (IsLocallyAdministered(text.mac) ? " (locally administered)" : ""));
    Add("vendor", answer.vendor);
    Add("category", answer.category);
    Add("os", answer.os);
    Add("name", answer.name);
    const uint32_t flags = station_.Number(BYOD_EXT_STATION_FLAGS);
    if ((flags & BYOD_STATION_CONTRADICTING) != 0) {
      Add("contradicting", "two methods differ", Emphasis::kNotice);
    }
    if ((flags & BYOD_STATION_SHARED) != 0) {
      Add("shared", "many terminals are behind this address", Emphasis::kNotice);
    }
  }

  void AddAddresses() {
    station_.ForEachNested(BYOD_EXT_ADDRESS, [&](const Fields& address) {
      const std::string until =
          address.Has(BYOD_EXT_LEASE_END)
              ? ", lease until " + TimeText(address.Counter(BYOD_EXT_LEASE_END))
              : "";
      Add("address", address.Text(BYOD_EXT_IP) + until + ", seen " + ByFeed(address));
    });
  }

  void AddMethods() {
    station_.ForEachNested(BYOD_EXT_METHOD_ANSWER, [&](const Fields& answer) {
      const uint32_t method = answer.Number(BYOD_EXT_METHOD);
      if (method >= BYOD_METHOD_COUNT) return;
      Add(std::string("answer by ") + kMethodNames[method], AnswerText(answer));
    });
  }

  void AddSeen(const std::string& label, uint16_t type) {
    station_.ForEachNested(type, [&](const Fields& seen) {
      const FingerprintText text = FingerprintIn(seen);
      const char* const note = seen.Number(BYOD_EXT_CHOSEN) == 1       ? ", chosen"
                               : seen.Number(BYOD_EXT_BACKGROUND) == 1 ? ", counts nothing"
                                                                       : "";
      Add(label, (type == BYOD_EXT_SEEN_LIST ? text.options : text.user_agent) + " (" +
                     std::to_string(seen.Counter(BYOD_EXT_SEEN)) + " times, last " + ByFeed(seen) +
                     note + ")");
    });
  }

  void AddHistory() {
    station_.ForEachNested(BYOD_EXT_CHANGE, [&](const Fields& change) {
      std::string to;
      change.ForEachNested(BYOD_EXT_TO, [&](const Fields& answer) { to = AnswerText(answer); });
      const std::string because = CauseText(change);
      Add("changed", ByFeed(change) + ": " + to + " because of " +
                         CauseName(change.Number(BYOD_EXT_CAUSE)) +
                         (because.empty() ? "" : " " + because));
    });
  }

  const Fields& station_;
  Table table_;
};

int ShowStation(const std::string& key, bool json, const Settings& settings) {
  Client client(settings);
  Request request(BYOD_OP_GET, BYOD_EXT_MSG_STATION);
  AddStationKey(request, key);
  const tlv::Message reply = client.Ask(request);
  const Fields station(reply);
  if (json) {
    WriteJsonLine(StationJson(station));
  } else {
    StationTable(station).Write();
  }
  return kExitSuccess;
}

// ---------------------------------------------------------------- stations

struct ListOptions {
  std::string category;
  std::string vendor;
  std::string changed_since;
  bool contradicting = false;
  bool shared = false;
  bool unknown = false;
  bool tsv = false;
  bool json = false;
};

uint64_t Now() {
  return static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(
                                   std::chrono::system_clock::now().time_since_epoch())
                                   .count());
}

Request ListRequest(const ListOptions& options) {
  Request request(BYOD_OP_GET, BYOD_EXT_MSG_STATIONS);
  if (!options.category.empty()) request.Text(BYOD_TLV_DEVTYPE, options.category);
  if (!options.vendor.empty()) request.Text(BYOD_TLV_VENDOR, options.vendor);
  if (!options.changed_since.empty()) {
    request.Counter(BYOD_EXT_CHANGED_SINCE, ParseSince(options.changed_since, Now()).value_or(0));
  }
  uint32_t flags = 0;
  if (options.contradicting) flags |= BYOD_STATION_CONTRADICTING;
  if (options.shared) flags |= BYOD_STATION_SHARED;
  if (options.unknown) flags |= BYOD_STATION_UNKNOWN;
  if (flags != 0) request.Number(BYOD_EXT_WANTED_FLAGS, flags);
  return request;
}

int ShowStations(const ListOptions& options, const Settings& settings) {
  Client client(settings);
  bool has_flag = false;
  Listing listing(options.tsv ? OutputForm::kTsv : FormOf(options.json),
                  {{"MAC", "mac"},
                   {"ADDRESSES", "addresses"},
                   {"VENDOR", "vendor"},
                   {"CATEGORY", "category"},
                   {"OS", "os"},
                   {"NAME", "name"},
                   {"HOST NAME", "host_name"},
                   {"LAST SEEN", "last"}});
  client.Series(ListRequest(options), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_STATION, [&](const Fields& station) {
      const Item item = StationItem(station);
      has_flag = has_flag || FieldOf(item, "locally_administered").value.IsTrue();
      const bool stands_out = FieldOf(item, "contradicting").value.IsTrue();
      listing.Add(item, stands_out ? Emphasis::kNotice : Emphasis::kNone);
    });
  });
  listing.Finish(has_flag ? kFlagNote : "");
  return kExitSuccess;
}

// ---------------------------------------------------------------- feeds

int ShowFeeds(bool json, const Settings& settings) {
  Client client(settings);
  Listing listing(FormOf(json), {{"FEED", "feed"},
                                 {"TRUST", "trust"},
                                 {"LAST SEEN", "last"},
                                 {"SIGHTINGS", "sightings"},
                                 {"MALFORMED", "malformed"},
                                 {"UNPLACED", "unplaced"},
                                 {"DROPPED", "dropped"},
                                 {"USER ID", "user_id"}});
  client.Series(Request(BYOD_OP_GET, BYOD_EXT_MSG_FEEDS), [&](const Fields& reply) {
    reply.ForEachNested(BYOD_EXT_FEED_ENTRY, [&](const Fields& feed) {
      const bool was_seen = feed.Has(BYOD_EXT_TIME);
      const auto time = [&](uint16_t type) {
        return was_seen ? Json(TimeText(feed.Counter(type))) : Json();
      };
      listing.Add({{"feed", feed.Text(BYOD_EXT_FEED)},
                   {"trust", feed.Number(BYOD_EXT_TRUST)},
                   {"lifetime_s", feed.Number(BYOD_EXT_LIFETIME)},
                   {"first", time(BYOD_EXT_FIRST_TIME)},
                   {"last", time(BYOD_EXT_TIME)},
                   {"sightings", feed.Counter(BYOD_EXT_SEEN)},
                   {"malformed", feed.Counter(BYOD_EXT_MALFORMED)},
                   {"unplaced", feed.Counter(BYOD_EXT_UNPLACED)},
                   {"dropped", feed.Counter(BYOD_EXT_DROPPED)},
                   {"user_id", was_seen ? Json(feed.Number(BYOD_EXT_CLIENT)) : Json()},
                   {"process", was_seen ? Json(feed.Number(BYOD_EXT_PROCESS)) : Json()}});
    });
  });
  listing.Finish();
  return kExitSuccess;
}

/// Declares the key of a station as the command's operand.
void DefineKey(Parser& parser, std::string& key) {
  parser.AddText("KEY", key, kKeyHelp).Required().Check(&FaultOfStationKey);
}

}  // namespace

Run DefineShowStation(Parser& parser, const Settings& settings) {
  const auto key = std::make_shared<std::string>();
  const auto json = std::make_shared<bool>(false);
  DefineKey(parser, *key);
  // Not with +, of which g++ 12 warns without reason.
  AddJsonOption(
      parser, *json,
      std::string(kStationKeys)
          .append(", vendor_class, methods (by name) {vendor, category, os, name}, option_lists "
                  "{options, chosen, answer {vendor, category, os, name}, seen (how often), first, "
                  "last, feed}, user_agents {user_agent, chosen, background, answer {vendor, "
                  "category, os, name}, seen, first, last, feed}, history {time, from {vendor, "
                  "category, os, name}, to {vendor, category, os, name}, cause, because, feed}"));
  return [key, json, &settings] { return ShowStation(*key, *json, settings); };
}

Run DefineShowStations(Parser& parser, const Settings& settings) {
  const auto options = std::make_shared<ListOptions>();
  parser.AddText("--category", options->category, "Only terminals of this category")
      .ValueName("TEXT");
  parser.AddText("--vendor", options->vendor, "Only terminals of this vendor").ValueName("TEXT");
  parser
      .AddText("--changed-since", options->changed_since,
               "Only terminals whose answer changed since then: 10m, 2h, 7d, or a time in UTC, as "
               "2026-02-28T12:00:00Z")
      .ValueName("TIME")
      .Check([](const std::string& text) {
        return ParseSince(text, Now()) ? std::string() : "\"" + text + "\" is not a time";
      });
  parser.AddFlag("--contradicting", options->contradicting,
                 "Only terminals of which two methods differ in category or OS");
  parser.AddFlag("--shared", options->shared, "Only addresses with many terminals behind them");
  parser.AddFlag("--unknown", options->unknown, "Only terminals that nothing matches");
  const Option tsv = parser.AddFlag("--tsv", options->tsv, "Write tab-separated lines");
  AddJsonOption(parser, options->json, kStationKeys, "terminal").Excludes(tsv);
  return [options, &settings] { return ShowStations(*options, settings); };
}

Run DefineShowFeeds(Parser& parser, const Settings& settings) {
  const auto json = std::make_shared<bool>(false);
  parser.AddToHelp(
      "UNPLACED counts sightings of an IP address that no terminal has, DROPPED those that a feed "
      "could\nnot send.");
  AddJsonOption(parser, *json,
                "feed, trust, lifetime_s, first (or null), last (or null), sightings, malformed, "
                "unplaced, dropped, user_id (of the sender, or null), process (or null)",
                "feed");
  return [json, &settings] { return ShowFeeds(*json, settings); };
}

Run DefineUnsetStation(Parser& parser, const Settings& settings) {
  const auto key = std::make_shared<std::string>();
  const auto json = std::make_shared<bool>(false);
  DefineKey(parser, *key);
  AddJsonOption(parser, *json, kChangeKeys);
  return [key, json, &settings] {
    Client client(settings);
    Request request(BYOD_OP_UNDO, BYOD_EXT_MSG_FORGET_STATION);
    AddStationKey(request, *key);
    return ReportChange(client.Change(request), *json);
  };
}

}  // namespace byod::ctl
