# SPDX-License-Identifier: Apache-2.0
"""Two ways to answer fingerprints: the plain reading in Python, and the program itself."""

import subprocess

from byodrules import catalogue
from byodrules.labelled import PARTS
from byodrules.matching import Matcher
from byodrules.registry import Registry, digits

METHODS = {"dhcp": "options", "user-agent": "user_agent", "mac": "mac"}
NOTHING = ("", "", "")


class PythonEngine:
    """Answers by method; also knows which rule decided."""

    def __init__(self, rules_folder, ieee_folder):
        agents = catalogue.read_rules(f"{rules_folder}/{catalogue.USER_AGENT}", "expression")
        options = catalogue.read_rules(f"{rules_folder}/{catalogue.DHCP_OPTION}", "options")
        self.agent_rules = agents
        self.option_rules = options
        self._matcher = Matcher([rule.key for rule in agents])
        self._found = {}  # winners of texts already seen: methods are measured one by one
        self._options = {rule.key: i for i, rule in reversed(list(enumerate(options)))}
        self._registry = Registry(ieee_folder, rules_folder)
        # By method: every rule of the catalogue, and the places of those that decided.
        self.rules = {
            "dhcp": [rule.key for rule in options],
            "user-agent": [rule.key for rule in agents],
            "mac": list(self._registry.own.values()),
        }
        self._own = {prefix: i for i, prefix in enumerate(self._registry.own)}
        self.used = {method: set() for method in METHODS}
        self.ties = 0  # fingerprints that rules of one length answer differently

    def _by(self, method, row):
        if method == "dhcp" and row.options:
            index = self._options.get(row.options)
            if index is not None:
                self.used[method].add(index)
                return self.option_rules[index].answer()
        elif method == "user-agent" and row.user_agent:
            found = self._found.get(row.user_agent)
            if found is None:
                found = self._found[row.user_agent] = self._matcher.winners(row.user_agent)
            if found:
                self.used[method].add(found[0])
                if len({self.agent_rules[i].answer() for i in found}) > 1:
                    self.ties += 1
                return self.agent_rules[found[0]].answer()
        elif method == "mac" and digits(row.mac).strip("0"):
            prefix = self._registry.prefix(row.mac)
            if prefix in self._own:
                self.used[method].add(self._own[prefix])
            return self._registry.find(row.mac) or NOTHING
        return NOTHING

    def answers(self, rows, methods):
        """(category, vendor, os) of each row, the first method that fills a field winning."""
        result = []
        for row in rows:
            fields = NOTHING
            for method in methods:
                fields = tuple(a or b for a, b in zip(fields, self._by(method, row)))
                if all(fields):
                    break
            result.append(fields)
        return result


class ProgramEngine:
    """Runs `byodctl identify --offline`; only the parts that the methods use are handed in."""

    def __init__(self, program, rules_folder, ieee_folder):
        self._command = [program, "identify", "--offline", "--rules", rules_folder, "--tsv",
                         "--evidence", "off"]
        if ieee_folder:
            self._command += ["--ieee", ieee_folder]

    def answers(self, rows, methods):
        parts = [METHODS[m] for m in methods]
        lines = ["\t".join(PARTS)]
        for row in rows:
            lines.append("\t".join(getattr(row, p) if p in parts else "" for p in PARTS))
        done = subprocess.run(
            [*self._command, "--order", ",".join(methods)],
            input=("\n".join(lines) + "\n").encode("utf-8"),
            stdout=subprocess.PIPE,
            check=False,
        )
        if done.returncode not in (0, 3):  # 3: some stayed unknown
            raise RuntimeError(f"{self._command[0]} ended with status {done.returncode}")
        out = done.stdout.decode("utf-8").split("\n")
        header = out[0].split("\t")
        place = [header.index(name) for name in ("category", "vendor", "os")]
        answers = [line.split("\t") for line in out[1:] if line]
        if len(answers) != len(rows):
            raise RuntimeError(f"{len(answers)} answers to {len(rows)} fingerprints")
        return [tuple(fields[i] for i in place) for fields in answers]
