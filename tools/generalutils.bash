# bash completion for generalutils: subcommands, their options, cut modes, files, directories.
# Installed as bash-completion/completions/generalutils; also works when sourced directly.

_generalutils() {
  local cur=${COMP_WORDS[COMP_CWORD]}
  local command=${COMP_WORDS[1]}
  local words=""
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    if [[ $cur == -* ]]; then
      words="--help --version"
    else
      words="chain hash8 strhash urlencode split cut firstline crc32c exists isdir writable
        join size cmp cp fingerprint info exedir tmpdir cid exec readline"
    fi
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    return 0
  fi
  if [[ $cur == -* ]]; then
    case $command in
      crc32c)
        words="-c --check --quiet --status -w --warn --strict --ignore-missing --tag -z --zero
          --help --"
        ;;
      info) words="--json --help" ;;
      split) words="-0 --null --help --" ;;
      cmp) words="-s --quiet --silent --help --" ;;
      *) words="--help --" ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    return 0
  fi
  # Names of files and directories get the usual treatment: a '/' behind a directory, and
  # special characters quoted. compopt fails outside a completion; that changes nothing.
  case $command in
    cut)
      ((COMP_CWORD == 2)) &&
        mapfile -t COMPREPLY < <(compgen -W "first last after-first after-last" -- "$cur")
      ;;
    crc32c | exists | writable | size | cmp | cp | join)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$cur")
      ;;
    isdir | cid)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$cur")
      ;;
    exec)
      ((COMP_CWORD == 2)) && mapfile -t COMPREPLY < <(compgen -c -- "$cur")
      ;;
  esac
  return 0
}

complete -F _generalutils generalutils
