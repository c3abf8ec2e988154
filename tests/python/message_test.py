# SPDX-License-Identifier: Apache-2.0
"""The messages of the Python client, byte for byte those of the C library.

message_test.py SOURCE
"""

import pathlib
import random
import sys
import unittest

SOURCE = pathlib.Path(sys.argv.pop(1))
sys.path.insert(0, str(SOURCE / "python"))

# pylint: disable=wrong-import-position
import golden
from byod import codes, model
from byod.client import (_elements_of, _field, _identity_in, _key, _request, _rule_in, _value)
from byod.message import FormError, Message, data, message, number, text
from byod.model import FingerPrint, Kind

MAC = "00:1a:2b:3c:4d:5e"
# The golden MAC rule's address has bits beyond its mask, which the client refuses to make.
MAC_KEY = data(codes.MAC, model.address_of(MAC)) + data(codes.MASK, b"\xff\xff\xff\0\0\0")
TERMINAL = FingerPrint.of(MAC, "1,3,6", "Mozilla/5.0")


def fingerprint(kind):
    return _request(codes.GET, kind, *_elements_of(TERMINAL))



REQUESTS = {
    "GetDeviceType": lambda: fingerprint(codes.NAME_OF),
    "GetDeviceVendor": lambda: fingerprint(codes.VENDOR_OF),
    "GetDeviceAttribute": lambda: fingerprint(codes.ATTRIBUTES_OF),
    "GetDhcpOptionRulesCount": lambda: _request(codes.GET, codes.COUNT + Kind.DHCP_OPTION),
    "GetUserAgentRulesCount": lambda: _request(codes.GET, codes.COUNT + Kind.USER_AGENT),
    "GetMacRulesCount": lambda: _request(codes.GET, codes.COUNT + Kind.MAC),
    "GetAndShowDhcpOptionRules": lambda: _request(codes.GET, codes.LIST + Kind.DHCP_OPTION),
    "GetAndShowUserAgentRules": lambda: _request(codes.GET, codes.LIST + Kind.USER_AGENT),
    "GetAndShowMacRules": lambda: _request(codes.GET, codes.LIST + Kind.MAC),
    "GetOrder": lambda: _request(codes.GET, codes.ORDER),
    "SetOrder": lambda: _request(codes.SET, codes.ORDER,
                                 *(number(codes.SLOT, method) for method in (2, 0, 1))),
    "SetDhcpOptValue": lambda: _value(codes.SET, Kind.DHCP_OPTION, "1,3,6"),
    "SetUAValue": lambda: _value(codes.SET, Kind.USER_AGENT, "iPhone"),
    "SetMacValue": lambda: _request(codes.SET, codes.VALUE + Kind.MAC, MAC_KEY),
    "SetDhcpOptDevAttr": lambda: _field(codes.SET, Kind.DHCP_OPTION, "1,3,6", "vendor", "ACME"),
    "SetUADevAttr": lambda: _field(codes.SET, Kind.USER_AGENT, "iPhone", "category", "printer"),
}


class Golden(unittest.TestCase):
    def test_requests_are_those_of_the_c_library(self):
        expected = golden.read(SOURCE / "tests" / "golden", "requests.txt")
        for name, make in REQUESTS.items():
            with self.subTest(name):
                self.assertEqual(make().hex(" "), expected[name].hex(" "))

    def test_a_rule_is_read_as_the_daemon_sends_it(self):
        replies = golden.read(SOURCE / "tests" / "golden", "replies.txt")
        info = model.DeviceInfo("Name", "ACME", "printer", "RTOS")
        rule = _rule_in(Kind.DHCP_OPTION, Message.parse(replies["DhcpOptionRule"]))
        self.assertEqual(rule, model.Rule(Kind.DHCP_OPTION, "1,3,6", False, True, info))
        rule = _rule_in(Kind.USER_AGENT, Message.parse(replies["UserAgentRule"]))
        self.assertEqual(rule, model.Rule(Kind.USER_AGENT, "iPhone", True, False, info))

    def test_an_identity_is_read_as_the_daemon_sends_it(self):
        answers = golden.read(SOURCE / "tests" / "golden", "answers.txt")
        identity = _identity_in(Message.parse(answers["GetDeviceAttribute"]))
        self.assertEqual((identity.vendor, identity.category, identity.os),
                         ("ACME", "computer", "RTOS"))
        self.assertTrue(identity.known)

    def test_every_golden_message_is_whole_and_is_made_again_of_its_elements(self):
        for name in ("requests.txt", "replies.txt", "answers.txt"):
            for title, encoded in golden.read(SOURCE / "tests" / "golden", name).items():
                with self.subTest(f"{name} {title}"):
                    elements = Message.parse(encoded).elements
                    self.assertEqual(message(*(data(kind, value) for kind, value in elements)),
                                     encoded)


class Form(unittest.TestCase):
    def test_bytes_that_are_not_a_message_are_refused(self):
        whole = message(number(1, 2), text(5, "iPhone"))
        for cut in range(len(whole)):
            with self.subTest(cut), self.assertRaises(FormError):
                Message.parse(whole[:cut])
        with self.assertRaises(FormError):
            Message.parse(whole + b"\0")
        with self.assertRaises(FormError):
            Message.parse(b"\xf9LM\x02" + whole[4:])

    def test_random_changes_of_a_message_are_read_or_refused(self):
        chance = random.Random(1)
        whole = bytearray(message(number(1, 2), text(5, "iPhone"), data(1002, message(number(3, 1)))))
        read = 0
        for _ in range(20000):
            mutated = bytearray(whole)
            for _ in range(chance.randint(1, 3)):
                mutated[chance.randrange(len(mutated))] = chance.randrange(256)
            try:
                parsed = Message.parse(bytes(mutated))
            except FormError:
                continue
            read += 1
            self.assertLessEqual(sum(len(value) for _, value in parsed.elements), len(whole))
            list(parsed.nested(1002))
        self.assertGreater(read, 100)

    def test_a_number_of_another_length_is_not_a_number(self):
        parsed = Message.parse(message(data(12, b"\0\0\0"), data(1036, b"\0" * 7)))
        self.assertEqual(parsed.number(12, 7), 7)
        self.assertEqual(parsed.counter(1036, 9), 9)

    def test_a_message_has_at_most_65534_bytes(self):
        message(data(1, b"x" * (65534 - 12)))
        with self.assertRaises(ValueError):
            message(data(1, b"x" * (65534 - 11)))

    def test_a_text_with_a_nul_is_refused_and_other_bytes_survive(self):
        with self.assertRaises(ValueError):
            text(5, "a\0b")
        odd = b"caf\xe9".decode("utf-8", "surrogateescape")
        self.assertEqual(Message.parse(message(text(5, odd))).text(5), odd)


class Keys(unittest.TestCase):
    def test_addresses_are_read_in_every_usual_form(self):
        for form in ("001a2b3c4d5e", "00:1A:2b:3c:4d:5e", "00-1a-2b-3c-4d-5e", "001a.2b3c.4d5e"):
            self.assertEqual(model.address_of(form), bytes.fromhex("001a2b3c4d5e"), form)

    def test_what_is_not_an_address_is_refused_by_name(self):
        for form in ("", "00:1a:2b", "00:1a:2b:3c:4d:5e:6f", "00:1a:2b:3c:4d:5g", "00:1a-2b:3c:4d:5e",
                     "0:01a:2b:3c:4d:5e", "001a:2b3c:4d5", b"\0" * 5):
            with self.subTest(form), self.assertRaises(ValueError):
                model.address_of(form)

    def test_a_prefix_is_read_and_written(self):
        for form, written in (("00:1a:2b/24", "00:1a:2b/24"), ("00:1a:2b", "00:1a:2b/24"),
                              ("00:1a:2b:30:00:00/28", "00:1a:2b:30/28"), ("70:88:6b:1", "70:88:6b:10/28"),
                              ("00:1a:2b:3c:4d:5e", "00:1a:2b:3c:4d:5e"), ("80/1", "80/1")):
            self.assertEqual(model.prefix_text(*model.prefix_of(form)), written, form)

    def test_what_is_not_a_prefix_is_refused(self):
        for form in ("00:1a:2b/0", "00:1a:2b/49", "00:1a:2b/x", "00:1a:2b/16", "/24", "00:1a:2b/"):
            with self.subTest(form), self.assertRaises(ValueError):
                model.prefix_of(form)

    def test_option_lists_are_text_bytes_or_numbers(self):
        for form in ("1,3,6", "1, 3, 6", b"\x01\x03\x06", [1, 3, 6]):
            self.assertEqual(model.options_of(form), b"\x01\x03\x06")
        for form in ("1,,3", "256", "a", [256], bytes(256)):
            with self.subTest(form), self.assertRaises(ValueError):
                model.options_of(form)

    def test_a_field_that_no_rule_has_is_refused(self):
        with self.assertRaises(ValueError):
            _field(codes.SET, Kind.MAC, MAC, "colour", "red")
        self.assertEqual(Message.parse(_request(2, 2, _key(Kind.MAC, MAC))).data(codes.MASK), b"\xff" * 6)


if __name__ == "__main__":
    unittest.main()
