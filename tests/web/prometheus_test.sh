#!/usr/bin/env bash
# What is there for Prometheus and Grafana, judged by promtool. Usage: prometheus_test.sh PACKAGING
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
packaging=$1
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT

promtool check config --syntax-only "$packaging/prometheus/scrape.yml"
promtool check rules "$packaging/prometheus/alerts.yml"
cp "$packaging/prometheus/alerts.yml" "$here/alerts_test.yml" "$folder"
promtool test rules "$folder/alerts_test.yml"

# What the dashboard asks for, as rules.
/usr/bin/python3 - "$packaging/grafana/corvane-prometheus.json" >"$folder/asked.yml" <<'PYTHON'
import json, sys
panels = json.load(open(sys.argv[1]))["panels"]
asked = [target["expr"].replace("$monitor", ".*") for panel in panels for target in panel["targets"]]
rules = [{"record": f"asked:{number}", "expr": expr} for number, expr in enumerate(asked)]
print(json.dumps({"groups": [{"name": "asked", "rules": rules}]}))
PYTHON
promtool check rules "$folder/asked.yml" | tee "$folder/said"
grep -q "SUCCESS: 7 rules found" "$folder/said"
