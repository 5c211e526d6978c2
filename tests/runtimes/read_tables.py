"""Prints the tables with their databases and types, as Python's protobuf runtime reads them from the descriptor set.

Usage: read_tables.py CONTRACTS.BINPB
"""

import sys

from contracts import Contracts

contracts = Contracts(sys.argv[1])
for name in contracts.messages:
    persistance = contracts.options(name).get("persistance")
    if persistance and persistance.type:
        print(name, persistance.database.name, persistance.type, sep=",")
