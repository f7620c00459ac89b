# bash completion for zel. Made by `zel --generate completion`.
_zel() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} verb=${COMP_WORDS[1]} options=
  COMPREPLY=()
  words() { mapfile -t COMPREPLY < <(compgen -W "$1" -- "$current"); }
  files() { compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current"); }
  if [[ $COMP_CWORD -eq 1 ]]; then
    words 'formats info decode verify tag commands run config help --help --version'
    return
  fi
  if [[ $verb == help ]]; then
    words 'formats info decode verify tag commands run config'
    return
  fi
  case $verb:$previous in
    info:--files-from) files; return;;
    info:-j) return;;
    info:--jobs) return;;
    decode:-o) files; return;;
    decode:--output) files; return;;
    decode:--format) words 'wav f32 s16 s24 s32'; return;;
    decode:--bits) words '16 24 32'; return;;
    decode:--subsong) return;;
    decode:--start) return;;
    decode:--length) return;;
    decode:--files-from) files; return;;
    decode:-j) return;;
    decode:--jobs) return;;
    verify:--seeks) return;;
    verify:--seed) return;;
    verify:--files-from) files; return;;
    verify:-j) return;;
    verify:--jobs) return;;
    tag:--subsong) return;;
    tag:--files-from) files; return;;
    tag:-j) return;;
    tag:--jobs) return;;
    run:--files-from) files; return;;
  esac
  case $verb in
    formats) options='--json -h --help';;
    info) options='--json --fast --io-stats --files-from -0 --null -j --jobs -h --help';;
    decode) options='-o --output --format --bits --subsong --start --length --no-postprocess --files-from -0 --null -j --jobs -h --help';;
    verify) options='--seeks --seed --json --files-from -0 --null -j --jobs -h --help';;
    tag) options='--dry-run --subsong --json --files-from -0 --null -j --jobs -h --help';;
    commands) options='--json -h --help';;
    run) options='-y --yes --files-from -0 --null -h --help';;
    config) options='--json --all -h --help';;
    *) return;;
  esac
  if [[ $current == -* ]]; then
    words "$options"
    return
  fi
  case $verb in
    tag) [[ $COMP_CWORD -eq 2 ]] && words 'show set add remove clear copy' && return;;
    config) [[ $COMP_CWORD -eq 2 ]] && words 'list get set reset' && return;;
  esac
  files
}
complete -F _zel zel
