# bash completion for quillmoria

_quillmoria() {
  local current=$2 previous=$3 command= word
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    case $word in
      add | remove | list | import | export | pull | news | search | show | open | read | mark | find | archive | feed | opml | demo)
        command=$word && break ;;
    esac
  done

  COMPREPLY=()
  case $previous in
    --base) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$current"); return ;;
    --opml | --password-file) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current"); return ;;
    --profile) mapfile -t COMPREPLY < <(compgen -W "classic modern" -- "$current"); return ;;
    --feed | --category | --name | --user | --jobs | --jobs-per-host | --since | --limit | --port | --every | --keep-*) return ;;
  esac

  if [[ $command == @(opml|import|export) && $current != -* ]]; then
    compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current")
    return
  fi

  local words="--base --profile --help --version"
  case $command in
    '') words+=" add remove list import export pull news search show open read mark find archive feed opml demo" ;;
    add) words+=" --category --name --first" ;;
    pull) words+=" --feed --category --opml --due --offline --online --jobs --jobs-per-host --all --json" ;;
    news | search) words+=" --unread --starred --feed --category --since --limit --all --json" ;;
    show) words+=" --keep-unread --json" ;;
    read) words+=" --port --no-browser --every --online" ;;
    mark) words+=" --all --feed --category --read --unread --star --unstar" ;;
    archive) words+=" --check --repair --keep-items --keep-days --json" ;;
    feed) words+=" --user --password-file --json" ;;
    list | find | opml) words+=" --json" ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current")
}

complete -F _quillmoria quillmoria
