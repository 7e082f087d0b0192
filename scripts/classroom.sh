# Sourced by scripts/run: the classrooms that it starts. Each sets `url`, where the host finds it, `password`,
# the teacher's, and `classroom` and `work`, its process and the folder with what it says of itself.

START_SECONDS=30

# All that a remote can send but stopSession, which would end the lesson early.
REMOTE_COMMANDS=requestLessonInfo,requestLesson,presenterActive,nextCard,previousCard
REMOTE_COMMANDS+=,lockAll,unlockAll,pushCurrentCard,addImageCard,pause,resume

# A classroom with simulated learners and a remote.
start_class_of_learners() {
  password=secret
  start_classroom 'listening on' --port 0 --learners "$learners" --user "$user" --password "$password" \
    --remote --remote-every 1500 --remote-commands "$REMOTE_COMMANDS" ${server[@]+"${server[@]}"}
  url=$(classroom_said 'listening on')
  echo "Classroom with $learners simulated learners and a remote: $url"
}

# A classroom for people with browsers. It makes a password up and tells it last, unless one is given.
start_class_of_people() {
  password=${TARVO_PASSWORD:-}
  if [ -n "$password" ]; then
    start_classroom '.*TLS' --serve --port 0 ${network[@]+"${network[@]}"} --user "$user" --password "$password"
  else
    start_classroom "$user signs in" --serve --port 0 ${network[@]+"${network[@]}"} --user "$user"
    password=$(classroom_said "$user signs in with the password")
  fi
  url=$(classroom_addresses | head -n 1)
  tell_people
}

# start_classroom LINE OPTION... waits until the service has written a line that begins with LINE.
start_classroom() {
  local line=$1 tenths
  shift
  work=$(mktemp -d)
  : >"$work/classroom.out"
  # In a session of its own: Ctrl-C is for the host, which still needs the classroom to stop its session.
  # Should this script be killed outright, the classroom is told to end.
  setsid setpriv --pdeathsig TERM node "$tree/classroom/bin/classroom.js" "$@" \
    >"$work/classroom.out" 2>"$work/classroom.err" &
  classroom=$!
  for ((tenths = 0; tenths < 10 * START_SECONDS; ++tenths)); do
    if grep -q "^classroom: $line" "$work/classroom.out"; then
      return
    fi
    kill -0 "$classroom" 2>/dev/null || break
    sleep 0.1
  done
  echo "run: the classroom did not start:" >&2
  cat "$work/classroom.err" >&2
  exit 1
}

# classroom_said WORDS shows what follows these words in what the classroom has said.
classroom_said() {
  sed -n "s/^classroom: .*$1 //p" "$work/classroom.out"
}

# Where the class is reached, an address a line. What a classroom listens on may stand for all that this
# computer has, and be none of them.
classroom_addresses() {
  local reached
  reached=$(classroom_said 'can reach it, at')
  [ -n "$reached" ] || reached=$(classroom_said 'listening on')
  echo "${reached//, /$'\n'}"
}

# What people need to take part; the code of the class is the host's to show.
tell_people() {
  local address
  while read -r address; do
    echo "Learners open     $address  and type the code of the class"
    echo "The remote's page $address/remote  where the teacher signs in"
  done < <(classroom_addresses)
  echo "Teacher           $user"
  [ -n "${TARVO_PASSWORD:-}" ] || echo "Password          $password"
  if grep -q 'only programs on this machine' "$work/classroom.out"; then
    echo "Only this computer reaches it; give its address in the network with --host, and others do, too."
  elif grep -q ': without TLS' "$work/classroom.out"; then
    echo "Without --tls, passwords and names can be read on the network."
  fi
}
