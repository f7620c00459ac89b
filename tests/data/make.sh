#!/bin/bash
# Makes the files under tests/data again, byte for byte: `tests/data/make.sh [KIND...]`, all kinds by default.
# Every kind is a script make_KIND.sh beside this one that fills the folder KIND; README.md tells what each file is for.
set -euo pipefail
cd "$(dirname "$0")"
kinds=("$@")
[ ${#kinds[@]} -gt 0 ] || mapfile -t kinds < <(for script in make_*.sh; do basename "${script#make_}" .sh; done)
for kind in "${kinds[@]}"; do
  mkdir -p "$kind"
  echo "$kind"
  bash "make_$kind.sh" "$PWD/$kind"
done
