#!/usr/bin/env python3
"""Prints the benchmark table: operation, ours, peer, ratio.

Benchmarks are named "<operation>/ours" and "<operation>/peer:<name>"; any
further "/..." parts that Google Benchmark adds are ignored. Times are real
time per iteration. A ratio below 1 means ours is faster.
"""
import json
import sys

UNITS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def fmt(ns):
    if ns >= 1e6:
        return "%.2f ms" % (ns / 1e6)
    if ns >= 1e3:
        return "%.2f us" % (ns / 1e3)
    return "%.1f ns" % ns


def main(path):
    with open(path) as f:
        data = json.load(f)
    ours, peers, order = {}, {}, []
    for b in data.get("benchmarks", []):
        if b.get("run_type") == "aggregate":
            continue
        parts = b["name"].split("/")
        for i, part in enumerate(parts):
            if part == "ours" or part.startswith("peer:"):
                op = "/".join(parts[:i])
                ns = b["real_time"] * UNITS.get(b.get("time_unit", "ns"), 1.0)
                if op not in order:
                    order.append(op)
                if part == "ours":
                    ours[op] = ns
                else:
                    peers.setdefault(op, []).append((part[5:], ns))
                break
    rows = [("operation", "ours", "peer", "peer time", "ratio")]
    for op in order:
        mine = ours.get(op)
        for name, ns in peers.get(op, [("-", None)]):
            ratio = "%.2f" % (mine / ns) if mine is not None and ns else "-"
            rows.append((op, fmt(mine) if mine is not None else "-", name, fmt(ns) if ns else "-", ratio))
    widths = [max(len(r[i]) for r in rows) for i in range(5)]
    for n, r in enumerate(rows):
        print(" | ".join(c.ljust(widths[i]) for i, c in enumerate(r)))
        if n == 0:
            print("-+-".join("-" * w for w in widths))


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "bench.json")
