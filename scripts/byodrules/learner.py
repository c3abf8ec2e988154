# SPDX-License-Identifier: Apache-2.0
"""Learns User-Agent rules: a list in which the longest matching expression decides.

The learner starts from hand-written rules and adds, one at a time, the rule
that sets right the most labelled fields of the training rows, given every rule
already taken and the match order. A field set wrong costs a part of a field
set right, so a term that several vendors share is left to longer ones.
"""

import heapq
from collections import Counter

from byodrules import candidates, matching, naming
from byodrules.brands import PHONE
from byodrules.catalogue import Rule

VENDOR = 1  # place in (category, vendor, os)
WRONG = 0.6  # what a wrong field costs; an empty one costs nothing
LEAST = 0.9  # a rule that gains less is not worth its place
SILENT = 0.3  # what a vendor costs on a row whose sources name none, as for Windows computers
KNOWN = 3.0  # what a hand-written brand word is worth: a stray row does not outweigh it
MODEL = 1.0  # what the beginning of a listed model is worth
# Texts that a term of so many letters and digits needs: unseen brands share such beginnings.
SHORT = {2: 12, 3: 5}
# Rows that must say so before a phone's string means another category, or Android another system.
SURE = 4
ROUNDS = 3  # gains can also grow while rules are added, so candidates are weighed again


class Texts:
    """Training texts with an index of three-character runs, to find all that hold given terms."""

    def __init__(self, texts):
        self.texts = texts
        self._posts = {}
        for index, text in enumerate(texts):
            for gram in {text[i : i + 3] for i in range(len(text) - 2)}:
                self._posts.setdefault(gram, []).append(index)
        self._all = range(len(texts))

    def _some(self, terms):
        best = self._all
        for term in terms:
            for i in range(len(term) - 2):
                posts = self._posts.get(term[i : i + 3], ())
                if len(posts) < len(best):
                    best = posts
        return best

    def holding(self, expression):
        parts = matching.alternatives(expression)
        if not parts:
            return list(self._all)
        if len(parts) == 1:
            terms = parts[0]
            return [i for i in self._some(terms) if all(t in self.texts[i] for t in terms)]
        return [i for i in self._all if matching.matches(expression, self.texts[i])]


class Learner:
    def __init__(self, rows, base, limit):
        """rows: (text, (category, vendor, os)) with "" for what a label leaves open.

        limit: bytes that an expression may have.

        The examples of the hand-written rules are rows that no learned rule may contradict.
        """
        self._limit = limit
        examples = {rule.example: rule.answer() for rule in base if rule.example}
        rows = sorted({row for row in rows if row[0] not in examples} | set(examples.items()))
        self._pinned = {i for i, (text, _) in enumerate(rows) if text in examples}
        self._labels = [labels for _, labels in rows]
        self._texts = Texts([text for text, _ in rows])
        self._lengths = [-1] * len(rows)
        self._answers = [("", "", "")] * len(rows)
        self._winners = [None] * len(rows)
        self.rules = []
        self._taken = set()
        self.gains = {}
        for rule in base:
            self._take(rule, self._texts.holding(rule.key))
        # What a family of strings is recognised by; a term added to it always outranks it.
        self._guards = list(self._winners)
        # Families of devices among them: those that a hand-written rule knows by their vendor.
        self._families = {rule.key: rule.answer() for rule in base if rule.vendor}

    def _take(self, rule, holding):
        self.rules.append(rule)
        self._taken.add(rule.key)
        size = matching.length(rule.key)
        answer = rule.answer()
        for i in holding:
            if self._lengths[i] < size:
                self._lengths[i] = size
                self._answers[i] = answer
                self._winners[i] = rule.key

    def _worth(self, size, ids, answer):
        """What a rule with a given answer gains."""
        worth = 0.0
        for i in ids:
            if self._lengths[i] >= size:
                continue
            if answer[VENDOR] and not self._labels[i][VENDOR] and not self._answers[i][VENDOR]:
                worth -= SILENT
            for field, label in enumerate(self._labels[i]):
                if label and self._answers[i][field] != answer[field]:
                    for given, sign in ((self._answers[i][field], -1), (answer[field], 1)):
                        if given:
                            worth += sign if given == label else -sign * WRONG
        return worth

    def _weigh(self, size, ids):
        """The best answer of a rule of that length on these texts, and what it gains."""
        before = 0.0
        says = (Counter(), Counter(), Counter())
        stands = (Counter(), Counter(), Counter())
        affected = silent = 0
        for i in ids:
            if self._lengths[i] >= size:
                continue
            affected += 1
            answer = self._answers[i]
            silent += not self._labels[i][VENDOR] and not answer[VENDOR]
            for field, label in enumerate(self._labels[i]):
                given = answer[field]
                if label:
                    says[field][label] += 1
                    if given == label:
                        before += 1
                    elif given:
                        before -= WRONG
                if given:
                    stands[field][given] += 1
        if not affected:
            return 0.0, ("", "", ""), says
        after = 0.0
        best = []
        for field in range(3):
            if says[field]:
                label, count = max(says[field].items(), key=lambda item: (item[1], item[0]))
                worth = count - WRONG * (sum(says[field].values()) - count)
                if field == VENDOR:
                    worth -= SILENT * silent
                if worth > 0:
                    best.append(label)
                    after += worth
                else:
                    best.append("")
            elif stands[field]:
                best.append(max(stands[field].items(), key=lambda item: (item[1], item[0]))[0])
            else:
                best.append("")
        return after - before, tuple(best), says

    def _family(self, held):
        """What a hand-written rule says of the one family that all these rows belong to, or None."""
        guards = {self._guards[i] for i in held}
        return self._families.get(guards.pop()) if len(guards) == 1 else None

    def _plausible(self, expression, answer, says, family):
        """The answer, with what few rows claim against the plain meaning of the guard undone."""
        if family:
            answer = tuple(
                known if known and says[field][given] < SURE else given
                for field, (known, given) in enumerate(zip(family, answer))
            )
        category, vendor, system = answer
        if expression.startswith(PHONE) and says[0][category] < SURE:
            category = "Mobile"
        if "Android&&" in expression and says[2][system] < SURE:
            system = "Android"
        return category, vendor, system

    def _expressions(self, term, ids):
        texts = self._texts.texts
        android = [i for i in ids if "Android" in texts[i]]
        # Alone, a piece of a word would catch unrelated words.
        led = term[0] in " ;/(,_-"
        if sum(c.isalnum() for c in term) >= (4 if led else 6) and (led or len(ids) >= SURE):
            yield term, ids
        if android:
            yield f"Android&&{term}", android
            yield f"Linux&&Android&&{term}", [i for i in android if "Linux" in texts[i]]
            phone = [i for i in android if "Mobile" in texts[i] and "Mozilla/5.0" in texts[i]]
            yield f"{PHONE}&&{term}", phone
            yield f"Android&&{term}&&TV", [i for i in android if "TV" in texts[i]]
            yield f"Dalvik&&Android&&{term}", [i for i in android if "Dalvik" in texts[i]]
        groups = {}
        for i in ids:
            if self._guards[i] and "Android" not in texts[i]:
                groups.setdefault(self._guards[i], []).append(i)
        for guard, held in sorted(groups.items()):
            plain = guard.rstrip("&")  # one at its end keeps it apart from another spelling
            yield f"{plain}&&{term}", held

    def learn(self, most, known):
        """Adds rules up to `most`.

        `known` maps rules that the rows need only not contradict to what each is worth.
        """
        pool = [
            (rule.key, matching.length(rule.key), self._texts.holding(rule.key), (rule, worth))
            for rule, worth in known.items()
        ]
        named = {rule.key for rule in known}
        for term, ids in sorted(candidates.terms(self._texts.texts).items()):
            if len(ids) < SHORT.get(sum(c.isalnum() for c in term), 1):
                continue
            for expression, held in self._expressions(term, ids):
                size = matching.length(expression)
                if expression not in named and held and size <= self._limit:
                    pool.append((expression, size, held, None))
        for _ in range(ROUNDS):
            if not self._round(pool, most):
                break

    def _contradicts(self, size, held, answer):
        """Whether a rule would answer a hand-written example in another way."""
        return any(
            self._lengths[i] <= size
            and any(label and label != given for label, given in zip(self._labels[i], answer))
            for i in self._pinned.intersection(held)
        )

    def _gain(self, expression, size, held, known):
        gain, answer = self._plain_gain(expression, size, held, known)
        return (-1.0 if self._contradicts(size, held, answer) else gain), answer

    def _plain_gain(self, expression, size, held, known):
        if known:
            rule, worth = known
            answer = rule.answer()
            return worth + self._worth(size, held, answer), answer
        gain, answer, says = self._weigh(size, held)
        plain = self._plausible(expression, answer, says, self._family(held))
        if plain != answer:
            gain = self._worth(size, held, plain)
        return gain, plain

    def _chances(self, size, held, answer):
        """Rows that another rule of the very same length answers differently: chance decides."""
        return sum(self._lengths[i] == size and self._answers[i] != answer for i in held)

    def _round(self, pool, most):
        heap = []
        for place, (expression, size, held, known) in enumerate(pool):
            gain, _ = self._gain(expression, size, held, known)
            if gain >= LEAST:
                heap.append((-gain, size, expression, place))
        heapq.heapify(heap)
        added = 0
        while heap and len(self.rules) < most:
            _, size, expression, place = heapq.heappop(heap)
            if expression in self._taken:
                continue
            known = pool[place][3]
            held = pool[place][2] if known else self._texts.holding(expression)
            gain, answer = self._gain(expression, size, held, known)
            gain -= self._chances(size, held, answer)
            if gain < LEAST:
                continue
            if heap and gain < -heap[0][0]:
                heapq.heappush(heap, (-gain, size, expression, place))
                continue
            category, vendor, system = answer
            name = naming.name_of(vendor, category, system)
            rule = known[0] if known else Rule(expression, name, vendor, category, system)
            self._take(rule, held)
            self.gains[expression] = gain
            added += 1
        return added
