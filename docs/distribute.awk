# Doxygen's input filter for the public headers. There, one comment documents all functions of a group:
#
#   /**
#    * @name Title
#    * @brief ... @param a ... @param b ... @return ...
#    *
#    * More text.
#    * @{
#    */
#   [/** @brief What is special of the first. */]
#   prototypes
#   /** @} */
#
# Doxygen wants a comment for each. So every prototype gets the group's, with the parameters that it has; a brief text
# of its own stands for the group's. A parameter that no prototype of the group has stays with the first, for Doxygen
# to complain about.

function strip(line) {
  sub(/^ *\/\*\* ?/, "", line)
  sub(/ *\*\/ *$/, "", line)
  sub(/^ *\* ?/, "", line)
  return line
}

function start_group(comment, lines, n, i, text, part, parts, head) {
  n = split(comment, lines, "\n")
  title = brief = result = more = ""
  parameters = members = 0
  head = 1
  text = ""
  for (i = 1; i <= n; ++i) {
    if (lines[i] ~ /@name/) {
      title = lines[i]
    } else if (lines[i] ~ /@\{/) {
      continue
    } else if (title == "") {
      continue
    } else if (head && lines[i] ~ /^ *$/ && text != "") {
      head = 0
    } else if (head) {
      text = text " " lines[i]
    } else {
      more = more "\n" lines[i]
    }
  }
  gsub(/ @(param|return|brief)/, "\n&", text)
  n = split(text, parts, "\n")
  for (i = 1; i <= n; ++i) {
    part = parts[i]
    if (part ~ /^ *@param /) {
      parameter[++parameters] = part
      sub(/^ *@param(\[[a-z,]*\])? +/, "", part)
      sub(/ .*/, "", part)
      parameter_name[parameters] = part
      used[parameters] = 0
    } else if (part ~ /^ *@return/) {
      result = part
    } else if (part !~ /^ *$/) {
      brief = brief part "\n"
    }
  }
  print "/** " title "\n * @{ */"
}

function add_member(prototype, list, names, n, i, name) {
  member[++members] = prototype
  own[members] = pending
  pending = ""
  list = prototype
  sub(/^[^(]*\(/, "", list)
  sub(/\)[^)]*$/, "", list)
  n = split(list, names, ",")
  for (i = 1; i <= n; ++i) {
    name = names[i]
    sub(/[ \n]+$/, "", name)
    sub(/.*[^A-Za-z0-9_]/, "", name)
    has[members, name] = 1
  }
  for (i = 1; i <= parameters; ++i)
    if ((members, parameter_name[i]) in has) used[i] = 1
}

function end_group(m, i) {
  for (m = 1; m <= members; ++m) {
    print "/**\n" (own[m] == "" ? brief : own[m]) "\n" more "\n"
    for (i = 1; i <= parameters; ++i)
      if (((m, parameter_name[i]) in has) || (m == 1 && !used[i])) print parameter[i]
    print result "\n*/\n" member[m]
  }
  split("", has)
  in_group = 0
}

# A comment, on one line or several.
/^ *\/\*\*/ { in_comment = 1; comment = raw = "" }
in_comment {
  raw = raw (raw == "" ? "" : "\n") $0
  comment = comment (comment == "" ? "" : "\n") strip($0)
  if ($0 !~ /\*\/ *$/) next
  in_comment = 0
  if (comment ~ /@name/ && comment ~ /@\{/) {
    in_group = 1
    start_group(comment)
  } else if (in_group && comment ~ /@}/) {
    end_group()
    print raw
  } else if (in_group) {
    pending = comment
  } else {
    print raw
  }
  next
}

# A prototype, on one line or several.
in_group && (statement != "" || $0 !~ /^ *(#.*)?$/) {
  statement = statement (statement == "" ? "" : "\n") $0
  if ($0 ~ /; *$/) {
    add_member(statement)
    statement = ""
  }
  next
}

{ print }
