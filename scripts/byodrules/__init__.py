# SPDX-License-Identifier: Apache-2.0
"""Reads, learns and measures the rule catalogue."""
