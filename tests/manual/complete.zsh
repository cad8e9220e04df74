# Prints what an interactive zsh offers for a command line. Usage: zsh -f complete.zsh FOLDER LINE
# FOLDER holds the completion functions.
zmodload zsh/zpty
zpty -b shell zsh -f -i
typeset -a setup
setup=(
  "PS1='' PS2='' LISTMAX=10000 COLUMNS=200 LINES=200"
  "fpath=(${(q)1} \$fpath)"
  "autoload -Uz compinit && compinit -u -D"
  "bindkey '^I' list-choices; unsetopt beep prompt_cr prompt_sp zle_bracketed_paste"
  "zstyle ':completion:*' list-separator '--'"
  "print READY"
)
for line in $setup; do zpty -w shell $line; done
read_until() {
  local piece all=""
  integer i
  for ((i = 0; i < 400; i++)); do
    while zpty -r -t shell piece; do all+=$piece; done
    [[ $all == *$1* ]] && break
    sleep 0.05
  done
  print -r -- $all
}
read_until $'\nREADY' > /dev/null
zpty -w -n shell "$2"$'\t'
zpty -w -n shell $'\C-U'"print DONE"$'\n'
read_until $'DONE\r\n'
zpty -d shell
