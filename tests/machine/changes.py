# SPDX-License-Identifier: Apache-2.0
"""changes.py make ROUND: changes the daemon's configuration until the power is cut.
changes.py check FILE: whether every change that FILE says was acknowledged is there.

Each change is announced before it is asked for, and acknowledged when the daemon has replied. What was
announced alone may be there or not.
"""

import sys

import byod


def apply(client, what, key, value):
    if what == "user-agent" and value == "-":
        client.unset_rule(byod.Kind.USER_AGENT, key)
    elif what == "user-agent":
        client.set_rule(byod.Kind.USER_AGENT, key, vendor=value)
    elif what == "mac":
        client.set_rule(byod.Kind.MAC, key, vendor=value)
    else:
        client.set_authorization("cut", key, {"vlan": value})


def make(round_):
    with byod.Client(timeout=60) as client:
        for i in range(100000):
            name = f"cut{round_}-{i // 4}"
            what, key, value = (
                ("user-agent", name, "first"),
                ("mac", f"02:{int(round_):02x}:{i // 4 // 256:02x}:{i // 4 % 256:02x}/32", "block"),
                ("authorization", name, str(i)),
                ("user-agent", name, "-" if i % 8 == 3 else "second"),
            )[i % 4]
            print("TRYING", what, key, value, flush=True)
            apply(client, what, key, value)
            print("ACKNOWLEDGED", what, key, value, flush=True)


def check(file):
    allowed = {}  # the values that may be there; "-" stands for none
    acknowledged = 0
    with open(file, encoding="ascii") as lines:
        for line in lines:
            state, what, key, value = line.split()
            if state == "ACKNOWLEDGED":
                allowed[what, key] = {value}
                acknowledged += 1
            else:
                allowed.setdefault((what, key), {"-"}).add(value)
    found = {}
    with byod.Client(timeout=60) as client:
        for kind, what in ((byod.Kind.USER_AGENT, "user-agent"), (byod.Kind.MAC, "mac")):
            for rule in client.rules(kind, configured=True):
                found[what, rule.key] = rule.info.vendor
        for stored in client.authorizations():
            if stored.group == "cut":
                found["authorization", stored.category] = stored.value("vlan")
    lost = [key for key, values in allowed.items() if found.get(key, "-") not in values]
    print(f"{acknowledged} changes acknowledged, {len(allowed)} settings, {len(lost)} not as acknowledged")
    for key in lost[:10]:
        print("LOST", *key, "found", found.get(key, "-"), "allowed", *allowed[key])
    return 1 if lost else 0


if __name__ == "__main__":
    sys.exit({"make": make, "check": check}[sys.argv[1]](sys.argv[2]))
