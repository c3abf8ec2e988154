"""Reads, learns and measures the rule catalogue."""
