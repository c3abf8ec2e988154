# SPDX-License-Identifier: Apache-2.0
"""Public parsers of User-Agents, each run as a program of its own language.

A parser is handed User-Agents, one a line, and gives back category, vendor and
operating system of each in the words of the catalogue, and the seconds of processor time
that it took without its start.
"""

import re
import subprocess

UA_PARSER = """
import sys, time
from user_agents import parse
agents = [line.rstrip("\\n") for line in sys.stdin]
parse("Mozilla/5.0")
def category(agent):
    if agent.is_tablet: return "tablet"
    if agent.is_mobile: return "mobile"
    return "pc" if agent.is_pc else ""
start = time.process_time()
found = [parse(agent) for agent in agents]
answers = [(category(a), a.device.brand or "", a.os.family) for a in found]
print(time.process_time() - start)
for answer in answers:
    print("\\t".join(answer))
"""

DEVICE_DETECTOR = """
require "device_detector"
agents = $stdin.each_line.map(&:chomp)
DeviceDetector.new("Mozilla/5.0").device_type
start = Process.clock_gettime(Process::CLOCK_PROCESS_CPUTIME_ID)
answers = agents.map { |agent|
  found = DeviceDetector.new(agent)
  [found.device_type, found.device_brand, found.os_name].map { |text| text.to_s }
}
puts Process.clock_gettime(Process::CLOCK_PROCESS_CPUTIME_ID) - start
answers.each { |answer| puts answer.join("\\t") }
"""

# Debian's own Python, which has Debian's packages.
PARSERS = {
    "ua-parser with user-agents": ["/usr/bin/python3", "-c", UA_PARSER],
    "DeviceDetector": ["ruby", "-Eutf-8:utf-8", "-e", DEVICE_DETECTOR],
}

# Their words, in lower case, where the catalogue has another one.
CATEGORIES = {
    "desktop": "PC", "pc": "PC", "smartphone": "Mobile", "feature phone": "Mobile",
    "phablet": "Mobile", "portable media player": "Mobile", "mobile": "Mobile",
    "tablet": "Tablet", "tv": "TV", "console": "Console", "car browser": "Other",
    "camera": "Other", "smart display": "Other", "smart speaker": "Other", "wearable": "Other",
    "peripheral": "Other",
}
SYSTEMS = {
    "mac": "macOS", "mac os x": "macOS", "mac os": "macOS", "ipados": "iOS", "fire os": "Android",
    "firefoxos": "Firefox OS", "apple tv": "tvOS", "atv os x": "tvOS", "chromeos": "Chrome OS",
    "blackberry tablet os": "BlackBerry Tablet OS", "symbian os": "Symbian",
    "symbianos": "Symbian", "symbian^3": "Symbian", "symbian os series 40": "Series 40",
    "nokia series 40": "Series 40", "windows ce": "Windows CE", "webos": "webOS",
    "web0s": "webOS", "hpwos": "webOS", "orbis os": "PlayStation",
    "playstation portable": "PlayStation", "playstation vita": "PlayStation",
    "playstation": "PlayStation", "nintendo mobile": "Nintendo", "wii": "Nintendo",
    "nintendo 3ds": "Nintendo", "nintendo switch": "Nintendo", "nintendo wii": "Nintendo",
    "windows mobile": "Windows Mobile", "windows phone": "Windows Phone", "windows iot": "Windows",
    "windows rt": "Windows", "android tv": "Android", "yunos": "Android", "other": "",
}
DISTRIBUTIONS = (
    "gnu/linux|ubuntu|kubuntu|xubuntu|lubuntu|debian|fedora|red ?hat|centos|suse|opensuse|mandriva|"
    "mageia|gentoo|arch ?linux|linux mint|mint|slackware|puppy|knoppix|pclinuxos|vectorlinux|"
    "sabayon|raspbian|deepin|maemo|meego|startos|caixamagica|red star|asplinux|fritz!os"
)
VENDORS = {
    "generic": "", "generic_android": "", "spider": "", "generic_android_tablet": "",
    "generic_smartphone": "", "generic_feature_phone": "", "rim": "BlackBerry",
}


def _system(word):
    lower = word.lower()
    if re.match(f"({DISTRIBUTIONS})", lower):
        return "Linux"
    if re.match(r"windows (\d|95|98|me|nt|xp|vista|2000)", lower):
        return "Windows"
    return SYSTEMS.get(lower, word)


def answers(parser, user_agents):
    """@return (category, vendor, os) of each, and seconds"""
    done = subprocess.run(PARSERS[parser], input="\n".join(user_agents) + "\n", check=True,
                          capture_output=True, text=True, encoding="utf-8", errors="replace")
    seconds, *lines = done.stdout.removesuffix("\n").split("\n")
    if len(lines) != len(user_agents):
        raise ValueError(f"{parser}: {len(lines)} answers to {len(user_agents)} User-Agents")
    found = []
    for line in lines:
        category, vendor, system = line.split("\t")
        found.append((CATEGORIES.get(category.lower(), ""),
                      VENDORS.get(vendor.lower(), vendor), _system(system)))
    return found, float(seconds)
