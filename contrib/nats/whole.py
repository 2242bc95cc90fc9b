#!/usr/bin/env python3
"""Says whether the cluster is whole, as far as its nodes that are asked know: only then one may be taken away."""

import argparse
import json
import sys
import time
import urllib.error
import urllib.request

PAUSE_S = 1
ANSWER_S = 10


def ask(url):
    try:
        with urllib.request.urlopen(url, timeout=ANSWER_S) as answer:
            return json.load(answer)
    except urllib.error.HTTPError as error:
        return json.load(error)


def assets(url):
    """The leader of each stream and consumer that this node has, by its name; None if it knows none."""
    found = {}
    accounts = ask(f"{url}/jsz?accounts=true&streams=true&consumers=true").get("account_details") or []
    for stream in (one for account in accounts for one in account.get("stream_detail") or []):
        found[stream["name"]] = leader(stream)
        for consumer in stream.get("consumer_detail") or []:
            found[f"{stream['name']} {consumer['name']}"] = leader(consumer)
    return found


def leader(asset):
    return (asset.get("cluster") or {}).get("leader")


def problems(urls):
    """What is wrong, a line each. /healthz alone is not enough: it passes over a consumer that a node has, but no
    longer shares with the others. "current" of /jsz is too much: server 2.9 leaves it false for a consumer that has
    nothing to do, however long one waits."""
    said, known = [], {}
    for url in urls:
        try:
            health = ask(f"{url}/healthz")
            known[url] = assets(url)
        except (OSError, ValueError, KeyError) as error:
            said.append(f"{url}: no answer: {error}")
            continue
        if health.get("status") != "ok":
            said.append(f"{url}: {health.get('error', health)}")
        said += [f"{url}: {name} has no leader" for name, who in known[url].items() if not who]
    everything = set().union(*known.values())
    return said + [f"{url}: {name} is missing" for url, here in known.items()
                   for name in sorted(everything - set(here))]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--wait", type=float, default=0, metavar="SECONDS", help="wait at most so long until they are")
    parser.add_argument("url", nargs="*", default=["http://127.0.0.1:8222"],
                        help="where a node's monitoring answers (http://127.0.0.1:8222); of several nodes it is also "
                             "compared what they have")
    options = parser.parse_args()
    end = time.monotonic() + options.wait
    while said := problems(options.url):
        if time.monotonic() >= end:
            print("\n".join(said))
            return 1
        time.sleep(PAUSE_S)
    print("whole")
    return 0


if __name__ == "__main__":
    sys.exit(main())
