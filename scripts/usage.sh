# Sourced by the scripts here. The comment that each begins with is its usage.

script=$(basename "$0")

usage() {
  sed -e '/^#!/d' -e '/^#/!q' -e 's/^# \{0,1\}//' "$0" | sed '/^set /d'
}

refuse() {
  echo "$script: $1" >&2
  echo "Try scripts/$script --help." >&2
  exit 2
}

# Shows the usage where it is asked for, among other arguments, too. What is behind "--" is not for us.
help_if_asked() {
  local argument
  for argument in "$@"; do
    case $argument in
      --) break ;;
      -h | --help)
        usage
        exit 0
        ;;
    esac
  done
}
