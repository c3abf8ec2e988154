// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * What our own front end asks the daemon beyond the configuration messages of byod_tlv.h: message
 * kinds and element types from 1000 up. docs/messages.md lists every message with its elements.
 *
 * They follow the same rules. A request begins with BYOD_TLV_OPTYPE and BYOD_TLV_MSGTYPE; every
 * reply holds BYOD_TLV_ERRCODE first; a series of replies has BYOD_ERR_CONTINUE in all but the
 * last; readers pass over elements that they do not know. A reply that refuses, to a request of
 * whatever kind, may say why with BYOD_EXT_REFUSAL and BYOD_EXT_REASON behind its code.
 */
#ifndef BYOD_EXTENSIONS_H
#define BYOD_EXTENSIONS_H

/** Message kinds. "Changes" needs root, the daemon's own user or the administration group. */
enum {
  /** GET: how a fingerprint is identified, step by step (explain/explanation_message.h). */
  BYOD_EXT_MSG_EXPLAIN = 1000,
  /** GET: the state of the daemon. */
  BYOD_EXT_MSG_STATUS = 1001,
  /** GET: a series, the fingerprints that nothing matched, the last seen first. UNDO: forgets them
   * (changes). */
  BYOD_EXT_MSG_UNKNOWN = 1002,
  /** GET: a series that lasts until the client sends something: first a reply without an event,
   * then the identifications that any client asks for. */
  BYOD_EXT_MSG_WATCH = 1003,
  /** The authorization of user groups. SET and UNDO change; GET is answered by a series. */
  BYOD_EXT_MSG_AUTHORIZATION = 1004,
  /** GET: all that is known of a fingerprint at once, and what its group's terminals may do. */
  BYOD_EXT_MSG_IDENTIFY = 1005,
  /** GET (changes): a series, the database as a file's bytes. */
  BYOD_EXT_MSG_BACKUP = 1006,
  /** SET (changes): restores such bytes, by phases on one connection. */
  BYOD_EXT_MSG_RESTORE = 1007,
  /** SET (changes): many changes with one flush, by phases on one connection. */
  BYOD_EXT_MSG_BULK = 1008,
  /** SET (changes): reloads the rule files, as the signal SIGHUP does. */
  BYOD_EXT_MSG_RELOAD = 1009,
  /** GET: a series, the stored rules that are not in effect, each with BYOD_EXT_METHOD and
   * BYOD_EXT_REASON. */
  BYOD_EXT_MSG_IDLE_RULES = 1010,
  /** GET: a series, BYOD_TLV_DEVTYPE for each category that a rule answers, each once. */
  BYOD_EXT_MSG_CATEGORIES = 1011,
  /** GET: a series, the stored modifications whose predefined rules are gone, each with
   * BYOD_EXT_METHOD, and BYOD_EXT_SUCCESSOR where the catalogue names one; BYOD_EXT_REASON if it
   * stays. SET (changes): moves the others to their successors, and answers likewise. */
  BYOD_EXT_MSG_REBIND = 1013,
  /** GET: reports a sighting of a terminal, and answers as BYOD_EXT_MSG_STATION. Needs root, the
   * daemon's own user, or a group that may change the configuration or report sightings. */
  BYOD_EXT_MSG_SIGHTING = 1020,
  /** GET: what is remembered of the station of a MAC or IP address. */
  BYOD_EXT_MSG_STATION = 1021,
  /** GET: a series, the stations, by ascending address. */
  BYOD_EXT_MSG_STATIONS = 1022,
  /** GET: a series as BYOD_EXT_MSG_WATCH, of the changes of stations' answers. */
  BYOD_EXT_MSG_WATCH_STATIONS = 1023,
  /** UNDO (changes): forgets the station of a MAC or IP address. */
  BYOD_EXT_MSG_FORGET_STATION = 1024,
  /** GET: a series, the feeds that report sightings. */
  BYOD_EXT_MSG_FEEDS = 1025
};

/**
 * Element types. "Number" is 32 bits; "counter" 8 bytes in network order (protocol/counter.h);
 * "text" ends with a NUL that counts; "nested" is a whole message.
 */
enum {
  /* Listings. */
  BYOD_EXT_RULE = 1002,  /**< nested: one rule of a listing */
  BYOD_EXT_HOLES = 1003, /**< number: rules directly within a MAC rule, which answer instead */

  /* Refusals. */
  BYOD_EXT_REFUSAL = 1000, /**< number: BYOD_REFUSAL_* */
  BYOD_EXT_REASON = 1001,  /**< text, 512: why, for people */

  /* Fingerprints and what is known of them. */
  BYOD_EXT_GROUP = 1010,          /**< text, 33: the name of a user group */
  BYOD_EXT_DERIVED_VENDOR = 1011, /**< text, 64: the vendor derived from the device name */
  BYOD_EXT_STEP = 1012,           /**< nested: one step of the search for the attributes */
  BYOD_EXT_METHOD = 1013,         /**< number: BYOD_METHOD_* */
  BYOD_EXT_OUTCOME = 1014,        /**< number: BYOD_OUTCOME_* */
  BYOD_EXT_SUPPLIED = 1015,       /**< number: BYOD_FIELD_* bits that this step supplied */
  BYOD_EXT_CONFIGURED = 1016,     /**< number: bits of what an administrator configured */
  BYOD_EXT_NAME_STEP = 1017,      /**< nested: one step of the search for the name */
  BYOD_EXT_NEXT = 1018,           /**< number: BYOD_NEXT_* */
  BYOD_EXT_RULE_TEXT = 1019,      /**< text, 256: expression, option list, or block */

  /* Fingerprints that nothing matched, and identifications as they happen. */
  BYOD_EXT_UNKNOWN = 1020,    /**< nested: one fingerprint: types 14, 5, 6, and how often, when */
  BYOD_EXT_EVENT = 1021,      /**< nested: one identification */
  BYOD_EXT_SEEN = 1022,       /**< counter: how often */
  BYOD_EXT_FIRST_TIME = 1023, /**< counter: microseconds since 1970, UTC */
  BYOD_EXT_TIME = 1024,       /**< counter: the last, or only, time, likewise */
  BYOD_EXT_LOST =
      1025, /**< counter: events dropped before this one, as the client did not read them */
  BYOD_EXT_CLIENT = 1026,    /**< number: the asking process's user id */
  BYOD_EXT_UNMATCHED = 1027, /**< number: 1 << BYOD_METHOD_* for each part that no rule matched */

  /* State. */
  BYOD_EXT_VERSION = 1030,          /**< text, 32 */
  BYOD_EXT_UPTIME = 1031,           /**< counter: seconds since the start */
  BYOD_EXT_TABLE = 1032,            /**< nested: METHOD, BYOD_TLV_COUNT, CUSTOM, MODIFIED, IDLE */
  BYOD_EXT_CUSTOM = 1033,           /**< number: of custom rules in a table */
  BYOD_EXT_MODIFIED = 1034,         /**< number: of modified predefined rules in a table */
  BYOD_EXT_RULE_LIMIT = 1035,       /**< number: 0xFFFFFFFF = none */
  BYOD_EXT_REQUESTS = 1036,         /**< counter: requests answered */
  BYOD_EXT_REFUSED = 1037,          /**< counter: of these, those refused */
  BYOD_EXT_IDENTIFICATIONS = 1038,  /**< counter: fingerprints asked about */
  BYOD_EXT_UNKNOWNS = 1039,         /**< counter: of these, those that nothing matched */
  BYOD_EXT_CHANGES = 1040,          /**< counter: changes applied */
  BYOD_EXT_CONNECTIONS = 1041,      /**< number: open now */
  BYOD_EXT_CONNECTION_LIMIT = 1042, /**< number */
  BYOD_EXT_DATABASE = 1043,         /**< number: BYOD_DATABASE_* */
  BYOD_EXT_RELOADS = 1044,          /**< counter: rule files read, the start included */
  BYOD_EXT_RELOAD_FAILURE = 1045, /**< text, 512: why the last reload was refused; absent if not */
  BYOD_EXT_WATCHERS = 1046,       /**< number: connections that watch */
  BYOD_EXT_IDLE = 1047,           /**< number: of a table's stored rules that are not in effect */
  BYOD_EXT_REGISTRY_TIME = 1048,  /**< counter: microseconds since 1970; absent without registry */

  /* Modifications of predefined rules that are gone. */
  BYOD_EXT_SUCCESSOR = 1080, /**< text, 256: the rule that answers instead */
  BYOD_EXT_GONE = 1081,      /**< number: of these modifications */
  BYOD_EXT_MOVABLE = 1082,   /**< number: of these, those that can go to their successors */

  /* Authorization. */
  BYOD_EXT_AUTHORIZATION = 1050, /**< nested: GROUP, BYOD_TLV_DEVTYPE, then NAME, VALUE pairs */
  BYOD_EXT_ATTR_NAME = 1051,     /**< text, 64: "vlan", "acl", "user-profile", ... */
  BYOD_EXT_ATTR_VALUE = 1052,    /**< text, 256: of the name before it */

  /* Many things at once. */
  BYOD_EXT_PHASE = 1060,   /**< number: BYOD_PHASE_* */
  BYOD_EXT_DATA = 1061,    /**< bytes of a file, in order */
  BYOD_EXT_TOTAL = 1062,   /**< counter: of the file's bytes */
  BYOD_EXT_REQUEST = 1063, /**< nested: a change, as it would be sent by itself */
  BYOD_EXT_RESULT = 1064,  /**< number: the code of the change at the same place */

  /* Stations. */
  BYOD_EXT_SIGHTING = 1100,      /**< text, 4097: a sighting as JSON */
  BYOD_EXT_IP = 1101,            /**< text, 46: an IPv4 or IPv6 address */
  BYOD_EXT_STATION = 1102,       /**< nested: one station of a listing */
  BYOD_EXT_STATION_FLAGS = 1103, /**< number: BYOD_STATION_* bits */
  BYOD_EXT_FEED = 1104,          /**< text, 33: which feed reported it */
  BYOD_EXT_SEEN_LIST = 1105,     /**< nested: an option list, how often, when, its answer */
  BYOD_EXT_SEEN_AGENT = 1106,    /**< nested: a User-Agent, likewise */
  BYOD_EXT_CHOSEN = 1107,        /**< number: 1 for the list or User-Agent that is answered by */
  BYOD_EXT_BACKGROUND = 1108,    /**< number: 1 for a User-Agent that counts nothing */
  BYOD_EXT_VENDOR_CLASS = 1109,  /**< text, 256: DHCP option 60 */
  BYOD_EXT_HOST_NAME = 1110,     /**< text, 256: DHCP option 12 */
  BYOD_EXT_ADDRESS = 1111,       /**< nested: IP, LEASE_END, TIME, FEED */
  BYOD_EXT_LEASE_END = 1112,     /**< counter: microseconds since 1970, UTC */
  BYOD_EXT_ACCESS_DEVICE = 1113, /**< text, 65: where the station is connected */
  BYOD_EXT_PORT = 1114,          /**< text, 65 */
  BYOD_EXT_SESSION = 1115,       /**< text, 65 */
  BYOD_EXT_METHOD_ANSWER = 1116, /**< nested: METHOD, and what the rules of it alone say */
  BYOD_EXT_CHANGE = 1117,        /**< nested: a change of the answer, the oldest first */
  BYOD_EXT_FROM = 1118,          /**< nested: the answer before */
  BYOD_EXT_TO = 1119,            /**< nested: the answer since */
  BYOD_EXT_CAUSE = 1120,         /**< number: BYOD_CAUSE_* */
  BYOD_EXT_CHANGED_SINCE = 1121, /**< counter: microseconds since 1970, UTC */
  BYOD_EXT_LIMIT = 1122,         /**< number: stations that are asked for at most */
  BYOD_EXT_CHANGED = 1123,       /**< counter: when the answer changed last */
  BYOD_EXT_WANTED_FLAGS = 1124,  /**< number: BYOD_STATION_* bits that must be set */
  BYOD_EXT_FEED_ENTRY = 1130,    /**< nested: one feed */
  BYOD_EXT_TRUST = 1131,         /**< number: 0 to 100 */
  BYOD_EXT_LIFETIME = 1132,      /**< number: seconds */
  BYOD_EXT_MALFORMED = 1133,     /**< counter: sightings that could not be read */
  BYOD_EXT_UNPLACED = 1134,      /**< counter: of an IP address that no station has */
  BYOD_EXT_DROPPED = 1135,       /**< counter: lost on the way */
  BYOD_EXT_PROCESS = 1136,       /**< number: id of the process that sent the last one */

  /* What the daemon was started with, as part of its state. */
  BYOD_EXT_RULES_DIRECTORY = 1160,    /**< text: an absolute path; absent if there is none */
  BYOD_EXT_REGISTRY_DIRECTORY = 1161, /**< text, likewise */
  BYOD_EXT_CARVED_LIMIT = 1162,       /**< number: of rules within the blocks of others */
  /** number: how vendors that make only the module are reported: 0 marked, 1 named, 2 left open */
  BYOD_EXT_MODULE_MAKERS = 1163
};

/** What is said of a station besides its answer, as bits. */
enum {
  BYOD_STATION_CONTRADICTING = 1, /**< two methods differ in category or operating system */
  BYOD_STATION_SHARED = 2,        /**< many terminals are behind the address */
  BYOD_STATION_UNKNOWN = 4        /**< nothing matches */
};

/** Why a station's answer changed. */
enum {
  BYOD_CAUSE_ADDRESS = 0,      /**< it is new */
  BYOD_CAUSE_OPTIONS = 1,      /**< its option list */
  BYOD_CAUSE_USER_AGENT = 2,   /**< its User-Agent */
  BYOD_CAUSE_VENDOR_CLASS = 3, /**< its vendor class */
  BYOD_CAUSE_HOST_NAME = 4,    /**< its host name */
  BYOD_CAUSE_RULES = 5,        /**< other rules, or another order */
  BYOD_CAUSE_TIME = 6          /**< a minute is over, or what was said before is out of date */
};

/** Why a request was refused. */
enum {
  BYOD_REFUSAL_MALFORMED = 1,  /**< an element is missing, too long or out of range */
  BYOD_REFUSAL_PERMISSION = 2, /**< the client may not change anything */
  BYOD_REFUSAL_NOT_FOUND = 3,  /**< there is no such rule, group or set */
  BYOD_REFUSAL_CONFLICT = 4,   /**< another rule is in the way, which the reason names */
  BYOD_REFUSAL_LIMIT = 5,      /**< the custom rules reach their limit */
  BYOD_REFUSAL_NO_CHANGE = 6,  /**< it is so already */
  BYOD_REFUSAL_NOT_SAVED = 7,  /**< the database cannot be written */
  BYOD_REFUSAL_MEMORY = 8,
  BYOD_REFUSAL_UNKNOWN_KIND = 9,  /**< the daemon does not know this message or operation */
  BYOD_REFUSAL_UNIDENTIFIED = 10, /**< nothing matches the fingerprint */
  BYOD_REFUSAL_BUSY = 11,         /**< too many watchers, or a bulk that is not open */
  BYOD_REFUSAL_BAD_DATA = 12      /**< restored bytes are no such database; rule files are bad */
};

/** What a method of an identification found. */
enum {
  BYOD_OUTCOME_MATCHED = 0, /**< a rule, which the step describes */
  BYOD_OUTCOME_NO_PART = 1, /**< the fingerprint has nothing for this method */
  BYOD_OUTCOME_NO_RULE = 2, /**< no rule matches it */
  BYOD_OUTCOME_TOO_LONG = 3 /**< the text of the option list is longer than a rule's can be */
};

/** What came after a step of an identification. */
enum {
  BYOD_NEXT_CONTINUE = 0, /**< something is still open: the next method */
  BYOD_NEXT_COMPLETE = 1, /**< nothing: all that is searched for is known */
  BYOD_NEXT_EXHAUSTED = 2 /**< nothing: the order ends here */
};

/** Fields of a device information, as bits. */
enum { BYOD_FIELD_NAME = 1, BYOD_FIELD_VENDOR = 2, BYOD_FIELD_CATEGORY = 4, BYOD_FIELD_OS = 8 };

/** Whether changes are kept. */
enum {
  BYOD_DATABASE_OPEN = 0,
  BYOD_DATABASE_FAILING = 1, /**< changes are refused until it can be written again */
  BYOD_DATABASE_NONE = 2     /**< the daemon runs without one, and keeps changes until it stops */
};

/** Phases of BYOD_EXT_MSG_RESTORE and BYOD_EXT_MSG_BULK. Each is answered. */
enum {
  BYOD_PHASE_BEGIN = 0,  /**< restore: with BYOD_EXT_TOTAL */
  BYOD_PHASE_MORE = 1,   /**< restore: with BYOD_EXT_DATA; bulk: with BYOD_EXT_REQUEST, repeated */
  BYOD_PHASE_COMMIT = 2, /**< all of it takes effect, or nothing does */
  BYOD_PHASE_ABORT = 3   /**< nothing does; so does closing the connection */
};

/** The device type of a set that serves all terminals of a group without a separate set. */
#define BYOD_EXT_ANY_TYPE "*"

/** Sizes in bytes, NUL included. */
enum {
  BYOD_EXT_GROUP_SIZE = 33,
  BYOD_EXT_ATTR_NAME_SIZE = 64,
  BYOD_EXT_ATTR_VALUE_SIZE = 256,
  BYOD_EXT_REASON_SIZE = 512,
  BYOD_EXT_SIGHTING_SIZE = 4097,
  BYOD_EXT_IP_SIZE = 46,
  BYOD_EXT_DATA_MAX = 32768 /**< bytes of a file in one message */
};

#endif /* BYOD_EXTENSIONS_H */
