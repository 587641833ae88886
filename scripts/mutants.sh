#!/usr/bin/env bash
# Measures how many faults the quick suite finds: applies a seeded sample of N single-token
# mutations to src/ (comparison and logic operators, integer constants, key literals, returned
# codes), one at a time, rebuilds, runs the quick suite against each and prints killed/total and
# the surviving mutants. A mutant that does not compile is not counted.
#
# Usage: scripts/mutants.sh [N] [SEED]      (defaults: 60 mutants, seed 1)
#   BUILD_DIR  build folder (default build-mutants); MUTANT_LOG  per-mutant log (default
#   $BUILD_DIR/mutants.log). The quick suite is every test but those labelled slow, package,
#   browser and soak. It binds the fixed service ports: run the script inside `unshare -n` when
#   they may be taken. The working tree's src/ is restored after each mutant, also on Ctrl-C.
set -euo pipefail
cd "$(dirname "$0")/.."

count=${1:-60}
seed=${2:-1}
build_dir=${BUILD_DIR:-build-mutants}
log=${MUTANT_LOG:-$build_dir/mutants.log}
quick_suite=(-LE 'slow|package|browser|soak')

if ! git diff --quiet -- src; then
    echo "error: src/ has uncommitted changes; the script mutates and restores it" >&2
    exit 2
fi
scripts/ensure-deps.sh test
# Test programs list their tests when CTest runs them, not at build time: a mutant that makes one
# crash while listing fails the suite, as any other crash does.
cmake -S . -B "$build_dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE=PRE_TEST >/dev/null
cmake --build "$build_dir" -j"$(nproc)" >/dev/null
mkdir -p "$(dirname "$log")"
: >"$log"

# The sample: "file<TAB>line<TAB>column<TAB>original<TAB>replacement", one per mutant.
mutants=$(python3 - "$count" "$seed" <<'PY'
import hashlib, pathlib, re, sys

count, seed = int(sys.argv[1]), int(sys.argv[2])
swaps = {"==": "!=", "!=": "==", "<=": "<", ">=": ">", "<": "<=", ">": ">=",
         "&&": "||", "||": "&&", "true": "false", "false": "true"}
token = re.compile(r'"(?:[^"\\]|\\.)*"|==|!=|<=|>=|&&|\|\||\b(?:true|false)\b|'
                   r'(?<![\w.])-?\d+\b(?!\.)|(?<![<>=!-])[<>](?![<>=])')
sites = []
lines = {}
for path in sorted(pathlib.Path("src").rglob("*.cpp")):
    seen = {}
    for number, line in enumerate(path.read_text().splitlines(), 1):
        lines[(path, number)] = (line, seen.setdefault(line.strip(), 0))
        seen[line.strip()] += 1
        code = line.split("//")[0]
        stripped = code.strip()
        if not stripped or stripped.startswith(("#", "*", "/*")) or "template" in code:
            continue
        for match in token.finditer(code):
            text, column = match.group(0), match.start()
            if text.startswith('"'):
                # Key literals: a JSON key or fixed text the wire depends on.
                if re.fullmatch(r'"[a-z_]{3,40}"', text):
                    sites.append((path, number, column, text, text[:-1] + 'x"'))
            elif text in swaps:
                if text in "<>" and re.search(r"\b(include|static_cast|reinterpret_cast|"
                                              r"std::\w+|vector|map|pair|function)\s*<", code):
                    continue
                sites.append((path, number, column, text, swaps[text]))
            else:
                value = int(text)
                replacement = "0" if value != 0 else "1"
                if "return" in code[:column]:
                    replacement = str(value + 1) if value != 0 else "-1"
                sites.append((path, number, column, text, replacement))
# A site's place in the draw depends on the seed and its own text only (file, the line's code and
# which of the file's equal lines it is, the token's place in it), never on its line number or on
# the other sites: an edit elsewhere in src/ leaves the rest of the sample as it was, so two suites
# can be compared on one sample.
def rank(site):
    path, number, column, original, replacement = site
    line, nth = lines[(path, number)]
    key = f"{seed}\0{path}\0{line.strip()}\0{nth}\0{column - (len(line) - len(line.lstrip()))}\0{original}"
    return hashlib.sha256(key.encode()).hexdigest()
sites.sort(key=rank)
for path, number, column, original, replacement in sites[:count]:
    print(f"{path}\t{number}\t{column}\t{original}\t{replacement}")
PY
)

restore() { git checkout -q -- src; }
trap restore EXIT

killed=0
total=0
invalid=0
survivors=()
while IFS=$'\t' read -r file line column original replacement; do
    label="$file:$line:$((column + 1)): $original -> $replacement"
    python3 - "$file" "$line" "$column" "$original" "$replacement" <<'PY'
import sys
path, line, column, original, replacement = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), sys.argv[4], sys.argv[5]
lines = open(path).read().split("\n")
text = lines[line - 1]
assert text[column:column + len(original)] == original, (path, line, text)
lines[line - 1] = text[:column] + replacement + text[column + len(original):]
open(path, "w").write("\n".join(lines))
PY
    if ! cmake --build "$build_dir" -j"$(nproc)" >>"$log" 2>&1; then
        invalid=$((invalid + 1))
        printf 'does not compile  %s\n' "$label" | tee -a "$log"
    elif (cd "$build_dir" && ctest "${quick_suite[@]}" -j"$(nproc)" --stop-on-failure \
            --timeout 120) >>"$log" 2>&1; then
        total=$((total + 1))
        survivors+=("$label")
        printf 'survived          %s\n' "$label" | tee -a "$log"
    else
        total=$((total + 1))
        killed=$((killed + 1))
        printf 'killed            %s\n' "$label" | tee -a "$log"
    fi
    restore
done <<<"$mutants"
# Leave the build matching the restored sources.
cmake --build "$build_dir" -j"$(nproc)" >/dev/null 2>&1 || true

echo
echo "mutation score: $killed/$total killed (seed $seed, $count sampled, $invalid did not compile)"
if [ ${#survivors[@]} -gt 0 ]; then
    echo "surviving mutants:"
    printf '  %s\n' "${survivors[@]}"
fi
