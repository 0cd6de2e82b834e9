# What Doxygen is given instead of a header: its head as the text of the file, and of its first class too, unless that has one
# of its own.
FNR == 1 { print "/// @file"; next }
FNR == 2 { print "///"; next }
!isHeadOver {
    if (/^#pragma once/) isHeadOver = 1
    else if (!sub(/^\/\//, "///")) isHeadOver = 1
    print
    next
}
/^template / { template = template $0 "\n"; next }
{
    if (!isTold && /^(class|struct) / && !/;$/) {
        isTold = 1
        if (former !~ /^\/\/\//) {
            file = FILENAME
            sub(/^.*Inc\//, "", file)
            printf "/// @copydoc %s\n", file
        }
    }
    printf "%s", template
    if (template == "") former = $0
    template = ""
    print
    former = $0
}
END { printf "%s", template }
