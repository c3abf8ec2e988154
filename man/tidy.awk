# SPDX-License-Identifier: Apache-2.0
# Makes what scdoc writes clean for mandoc -T lint: drops the paragraph macros that begin or end
# nothing, writes titles in capitals, and wraps lines of text at 80 bytes.

function emit(line) {
  print line
  last = line
}

function flush_paragraph(line) {
  if (line ~ /^\.RE/) return  # belongs behind it
  if (pending && line !~ /^\.(SH|SS)/ && last !~ /^\.(SH|SS|RS)/) emit(".P")
  pending = 0
}

# A continuation never begins with a dot or a quote, which would be a request.
function wrap(line,    words, count, i, out) {
  count = split(line, words, " ")
  out = words[1]
  for (i = 2; i <= count; ++i) {
    if (length(out) + 1 + length(words[i]) > 79 && words[i] !~ /^[.']/) {
      emit(out)
      out = words[i]
    } else {
      out = out " " words[i]
    }
  }
  emit(out)
}

/^\.(P|PP)$/ && !literal { pending = 1; next }
/^\.TH / { $2 = toupper($2) }
{ flush_paragraph($0) }
/^\.nf/ { literal = 1 }
/^\.fi/ { literal = 0 }
/^[.']/ || literal || length($0) <= 80 { emit($0); next }
{ wrap($0) }
