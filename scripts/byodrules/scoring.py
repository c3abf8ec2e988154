# SPDX-License-Identifier: Apache-2.0
"""Counts how labelled fingerprints were answered."""

from collections import Counter

from byodrules.labelled import FIELDS


class Score:
    """Per field: labelled rows, how many got an answer, how many the right one."""

    def __init__(self):
        self.labelled = Counter()
        self.answered = Counter()
        self.correct = Counter()
        self.confusions = {field: Counter() for field in FIELDS}

    def add(self, row, answer, vocabulary):
        for field, given in zip(FIELDS, answer):
            label = row.label_of(field)
            if not label:
                continue
            self.labelled[field] += 1
            if given:
                self.answered[field] += 1
            if vocabulary.right(field, label, given):
                self.correct[field] += 1
            else:
                wanted = vocabulary.answer(field, label)
                self.confusions[field][wanted, given] += 1

    def figures(self):
        """The counts and shares as plain data, fields without a label left out."""
        result = {}
        for field in FIELDS:
            count = self.labelled[field]
            if not count:
                continue
            answered = self.answered[field]
            right = self.correct[field]
            result[field] = {
                "labelled": count,
                "answered": answered,
                "correct": right,
                "coverage": round(answered / count, 4),
                "correctness": round(right / count, 4),
                "correct_where_answered": round(right / answered, 4) if answered else None,
            }
        return result


def score(rows, answers, vocabulary):
    result = Score()
    for row, answer in zip(rows, answers):
        result.add(row, answer, vocabulary)
    return result
