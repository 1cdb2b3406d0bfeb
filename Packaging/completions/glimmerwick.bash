# Completion of glimmerwick's options for bash.

_glimmerwick_applications() {
    local folder
    local -a folders
    IFS=: read -r -a folders <<<"${XDG_DATA_HOME:-$HOME/.local/share}:${XDG_DATA_DIRS:-/usr/local/share:/usr/share}"
    for folder in "${folders[@]}"; do
        [[ ! -d $folder/applications ]] || compgen -G "$folder/applications/*.desktop"
    done | sed 's|.*/||; s|\.desktop$||'
}

_glimmerwick() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} word
    local -a words=(--toggle --background --show-picker --target-app --disable-event-tap --diagnose --help --version)
    [[ $previous != --target-app ]] || mapfile -t words < <(_glimmerwick_applications)
    COMPREPLY=()
    # Not by compgen -W, which would run what stands in the name of a file.
    for word in "${words[@]}"; do
        [[ $word != "$current"* ]] || COMPREPLY+=("$(printf %q "$word")")
    done
}

complete -F _glimmerwick glimmerwick
