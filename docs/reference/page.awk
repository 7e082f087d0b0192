# A page of docs/ as the reference takes it in: each heading gets a label, links to pages that the reference has
# lead to these labels, links to other files become their text, a block behind <!-- picture: NAME --> becomes the
# picture docs/reference/NAME.dot, and \snippet FILE NAME the lines of examples/reference/FILE between the two
# marks //! [NAME], without what all of them are indented by.
#
# REFERENCE_PAGES in the environment has the paths of the pages that the reference has, with blanks between.

function label(page, heading) {
  heading = tolower(heading)
  gsub(/[^a-z0-9 _-]/, "", heading)
  gsub(/ /, "-", heading)
  return heading == "" ? page : page "_" heading
}

# The name of a page, from its path.
function name(path) {
  sub(/.*\//, "", path)
  sub(/\.md$/, "", path)
  return path
}

BEGIN {
  is_first = 1
  count = split(ENVIRON["REFERENCE_PAGES"], paths, " ")
  for (i = 1; i <= count; i++)
    is_page[name(paths[i])] = 1
}

function target(link,    parts, other) {
  split(link, parts, "#")
  other = parts[1] == "" ? page : name(parts[1])
  if (parts[1] != "" && parts[1] !~ /\.md$/ || !(other in is_page))
    return ""
  return label(other, parts[2])
}

# Links may begin on one line and end on another, so a stretch of prose is taken as a whole. Doxygen wants a link's
# text on one line.
function with_links(text,    done, link, begin, at, words) {
  done = ""
  while (match(text, /\]\([^)]*\)/)) {
    link = substr(text, RSTART + 2, RLENGTH - 3)
    begin = substr(text, 1, RSTART - 1)
    text = substr(text, RSTART + RLENGTH)
    at = length(begin)
    while (at > 0 && substr(begin, at, 1) != "[")
      at--
    words = substr(begin, at + 1)
    gsub(/\n/, " ", words)
    begin = substr(begin, 1, at - 1)
    if (link ~ /^https?:/)
      done = done begin "[" words "](" link ")"
    else if (target(link) != "")
      done = done begin "[" words "](@ref " target(link) ")"
    else
      done = done begin words
  }
  return done text
}

# Doxygen loses its way in code spans with quotation marks or backslashes, so these are written in HTML.
function with_code(text,    done, code) {
  done = ""
  while (match(text, /`[^`]*`/)) {
    code = substr(text, RSTART, RLENGTH)
    done = done substr(text, 1, RSTART - 1)
    text = substr(text, RSTART + RLENGTH)
    if (code ~ /["'\\]/) {
      code = substr(code, 2, length(code) - 2)
      gsub(/&/, "\\&amp;", code)
      gsub(/</, "\\&lt;", code)
      gsub(/>/, "\\&gt;", code)
      gsub(/"/, "\\&quot;", code)
      gsub(/'/, "\\&apos;", code)
      gsub(/[\\@#%]/, "\\\\&", code)
      code = "<code>" code "</code>"
    }
    done = done code
  }
  return done text
}

# A snippet that is not there is left to Doxygen, which warns of it.
function print_snippet(command,    file, mark, line, lines, count, is_in, indent, i) {
  file = "examples/reference/" command
  sub(/ .*/, "", file)
  mark = command
  sub(/^[^ ]* /, "", mark)
  mark = "//! [" mark "]"
  while ((getline line < file) > 0) {
    if (index(line, mark) > 0)
      is_in = !is_in
    else if (is_in)
      lines[++count] = line
  }
  close(file)
  if (count == 0 || is_in) {
    print "\\snippet " command
    return
  }
  indent = 100
  for (i = 1; i <= count; i++) {
    if (match(lines[i], /[^ ]/) && RSTART - 1 < indent)
      indent = RSTART - 1
  }
  print "```cpp"
  for (i = 1; i <= count; i++)
    print substr(lines[i], indent + 1)
  print "```"
}

function flush() {
  printf "%s", with_code(with_links(prose))
  prose = ""
}

FNR == 1 { page = name(FILENAME) }

/^```/ {
  flush()
  is_block = !is_block
  if (picture != "") {
    print is_block ? "\\dotfile " picture ".dot" : ""
    if (!is_block)
      picture = ""
  } else {
    print
  }
  next
}
is_block {
  print picture == "" ? $0 : ""
  next
}
/^\\snippet / {
  flush()
  print_snippet(substr($0, length("\\snippet ") + 1))
  next
}
/^<!-- picture: / {
  picture = $3
  prose = prose "\n"
  next
}
/^#+ / {
  heading = $0
  sub(/^#+ /, "", heading)
  if (is_first) {
    prose = prose $0 " {#" page "}\n[TOC]\n"
    is_first = 0
  } else {
    prose = prose $0 " {#" label(page, heading) "}\n"
  }
  next
}
{ prose = prose $0 "\n" }
END { flush() }
