# Prints what bash completes a command line to. Usage: bash complete.bash SCRIPT PROGRAM WORD ...
# The last word is the one that is being typed.
script=$1
shift
source "$script"
COMP_WORDS=("$@")
COMP_CWORD=$(($# - 1))
"_$1"
printf '%s\n' "${COMPREPLY[@]}"
