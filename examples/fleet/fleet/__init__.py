"""Lands batches of payloads in tables, on Apache Spark. docs/fleet.md tells how."""
