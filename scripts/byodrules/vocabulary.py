# SPDX-License-Identifier: Apache-2.0
"""Maps the words of labels to the words that rules answer with.

The table has the columns `field`, `label`, `answer`. A label that is not in
it must be answered literally; a label on several lines is answered rightly
by each of them (the label is coarser than the catalogue).
"""


class Vocabulary:
    def __init__(self, rows=()):
        self._answers = {}
        for field, label, answer in rows:
            self._answers.setdefault((field, label), []).append(answer)

    @classmethod
    def load(cls, path):
        rows = []
        with open(path, encoding="utf-8") as file:
            for number, line in enumerate(file, 1):
                if line.startswith("#") or not line.strip():
                    continue
                fields = line.rstrip("\n").split("\t")
                if len(fields) != 3:
                    raise ValueError(f"{path}:{number}: expected field, label, answer")
                rows.append(fields)
        return cls(rows[1:])

    def answers(self, field, label):
        return self._answers.get((field, label), [label])

    def answer(self, field, label):
        """The word a rule learned from this label answers with."""
        return self.answers(field, label)[0] if label else ""

    def right(self, field, label, answer):
        return answer in self.answers(field, label)
