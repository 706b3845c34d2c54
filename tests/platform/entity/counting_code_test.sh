#!/usr/bin/env bash
# counting_code_test.sh OBJDUMP FUNCTION clear|set EXPECTED OBJECT...
#
# Disassembles FUNCTION and follows every path through it on which the flag
# Routing::ReferenceCount::multiThreaded_ is clear, or set. What it meets on the way is one of
#
#   atomic            an instruction that locks the bus or orders memory
#   call SYMBOL       a call or a jump out of the function
#   call indirectly   the same through a pointer
#
# and must be exactly the EXPECTED ones, with a "|" between two, or "nothing". Exit code 1 when it is
# not, 2 when the code cannot be read: no such function, or a test of the flag that is none of the
# known shapes.

set -euo pipefail
objdump=$1
function=$2
flag=$3
expected=$4
shift 4

code=$("$objdump" --disassemble --reloc --demangle --no-show-raw-insn "$@")
met=$(awk -v wanted="$function" -v flag="$flag" '
function cannot(why) {
  print "counting_code_test: " why > "/dev/stderr"
  failed = 2
  exit 2
}
function isConditional(at) { return operation[at] ~ /^j/ && operation[at] !~ /^jmp/ }
function follow(at) {
  if (!(at in seen)) {
    seen[at] = 1
    open[++opened] = at
  }
}
# The conditional jump that the read of the flag at this instruction decides.
function decided(at, next_, steps) {
  for (steps = 1; steps <= 4; steps++) {
    next_ = at + steps
    if (isConditional(next_)) {
      if (operation[next_] !~ /^(je|jne)$/) cannot("the flag decides " operation[next_])
      return next_
    }
    if (operation[next_] !~ /^(mov|test|cmp|lea)/) break
  }
  cannot("the flag is read and decides nothing: " operation[at] " " operands[at])
}
function visit(at, target) {
  if (!(at in operation)) cannot("the code runs beyond the function")
  if (operation[at] ~ /^(lock|xacquire|mfence|sfence|lfence|cmpxchg|xadd)/ ||
      (operation[at] ~ /^xchg/ && operands[at] ~ /\(/)) print "atomic"
  if (operation[at] ~ /^ret/ || operation[at] ~ /^(ud2|hlt)/) return
  if (relocation[at] ~ /multiThreaded_/) flagJump[decided(at)] = 1
  if (operation[at] ~ /^(call|j)/ && relocation[at] != "") print "call " relocation[at]
  else if (operation[at] ~ /^(call|jmp)/ && operands[at] ~ /^\*/) print "call indirectly"
  else if (operation[at] ~ /^j/) {
    target = index_[operands[at]]
    if (target == "") cannot("a jump out of the function: " operands[at])
    if (at in flagJump) {
      follow((operation[at] == "jne") == (flag == "set") ? target : at + 1)
      return
    }
    follow(target)
  }
  if (operation[at] !~ /^jmp/) follow(at + 1)
}
/^[0-9a-f]+ <.*>:$/ {
  inside = (substr($0, index($0, "<")) == "<" wanted ">:")
  found += inside
}
inside && /^ *[0-9a-f]+:\t/ {
  address = $1
  sub(":", "", address)
  operation[++count] = $2
  operands[count] = $3
  index_[address] = count
}
inside && /^\t\t\t[0-9a-f]+: R_/ {
  name = $0
  sub(/^\t\t\t[0-9a-f]+: [A-Z0-9_]+\t/, "", name)
  sub(/[-+]0x[0-9a-f]+$/, "", name)
  relocation[count] = name
}
END {
  if (failed) exit failed
  if (found != 1) cannot(found " functions " wanted)
  follow(1)
  while (visited < opened) visit(open[++visited])
}' <<<"$code" | LC_ALL=C sort -u)

expected=$(tr '|' '\n' <<<"$expected" | LC_ALL=C sort -u)
if [[ ${met:-nothing} != "$expected" ]]; then
  printf '%s with the flag %s meets\n%s\nexpected\n%s\n' "$function" "$flag" "${met:-nothing}" \
    "$expected" >&2
  exit 1
fi
