# Completion of glimmerwick's options for fish.

function __glimmerwick_applications
    set --local data $XDG_DATA_HOME
    test -n "$data"; or set data ~/.local/share
    set --local system $XDG_DATA_DIRS
    test -n "$system"; or set system /usr/local/share:/usr/share
    for file in {$data,(string split : -- $system)}/applications/*.desktop
        string replace --regex '.*/(.*)\.desktop$' '$1' -- $file
    end
end

complete --command glimmerwick --no-files
complete --command glimmerwick --long-option toggle --description 'Open the picker, or close it'
complete --command glimmerwick --long-option background --description 'Show nothing, also when the picker runs already'
complete --command glimmerwick --long-option show-picker --description 'Show the picker half a second after the start'
complete --command glimmerwick --long-option target-app --exclusive --arguments '(__glimmerwick_applications)' \
    --description 'Always type into one application'
complete --command glimmerwick --long-option disable-event-tap \
    --description 'Take keys by keyboard focus instead of interception'
complete --command glimmerwick --long-option diagnose \
    --description 'Print what this desktop lets the picker do and end'
complete --command glimmerwick --long-option help --description 'Print a short help and end'
complete --command glimmerwick --long-option version --description 'Print the version and end'
