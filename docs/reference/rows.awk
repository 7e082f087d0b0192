# A header as the reference takes it in: the rows of the property records (model/PropertyRecord.h) become the
# properties that they stand for, each with its functions and its first value, and pages that comments name are
# linked.
#
# REFERENCE_PAGES in the environment has the paths of the pages that the reference has, with blanks between.

BEGIN { count = split(ENVIRON["REFERENCE_PAGES"], paths, " ") }

# The arguments of a row; commas in parentheses part nothing.
function arguments(row,    i, sign, depth, count) {
  count = 1
  delete argument
  argument[1] = ""
  for (i = index(row, "(") + 1; i <= length(row); i++) {
    sign = substr(row, i, 1)
    depth += (sign == "(") - (sign == ")")
    if (depth < 0)
      return
    if (sign == "," && depth == 0)
      argument[++count] = ""
    else if (sign != " " || argument[count] != "")
      argument[count] = argument[count] sign
  }
}

# What begins with a value that a function of the record's own makes has its comment say so.
function property(type, name, setter, initial, end) {
  if (match(initial, /^QStringLiteral\(/))
    initial = substr(initial, RLENGTH + 1, length(initial) - RLENGTH - 1)
  initial = initial ~ /^[a-z][A-Za-z]*\(\)$/ ? "" : "; at first `" initial "`"
  printf "Q_PROPERTY(%s %s READ %s WRITE %s) ", type, name, name, setter
  printf "/**< Read by `%s()`, set by the slot `%s()`%s. */%s\n", name, setter, initial, end
}

/^ *TARVO_[A-Z_]*PROPERTY[A-Z_]*\(/ {
  row = $0
  end = ""
  while (row !~ /\)$/ && (getline line) > 0) {
    sub(/^ */, " ", line)
    row = row line
    end = end "\n"
  }
  arguments(row)
  if (row ~ /^ *TARVO_PROPERTY\(/)
    property(argument[1], argument[2], "set" argument[2], argument[3], end)
  else if (row ~ /^ *TARVO_PROPERTY_NAMED\(/)
    property(argument[1], argument[2], argument[3], argument[5], end)
  else
    property("QObject *", argument[1], "set" argument[1], argument[3], end)
  next
}
/\/\/\/.*docs\// {
  for (i = 1; i <= count; i++) {
    page = paths[i]
    gsub(/.*\/|\.md$/, "", page)
    gsub(paths[i], "[" paths[i] "](@ref " page ")")
  }
}
{ print }
