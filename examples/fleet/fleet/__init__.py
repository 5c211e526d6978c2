"""Lands batches of payloads in tables, on Apache Spark. docs/fleet.md explains how."""
