# What Doxygen is given instead of a header: its head as the text of the file, and of those of its classes too that have none of
# their own: the head is about the family.
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
    if (/^(class|struct) / && !/;$/ && former !~ /^\/\/\//) {
        file = FILENAME
        sub(/^.*Inc\//, "", file)
        printf "/// @copydoc %s\n", file
    }
    printf "%s", template
    if (template == "") former = $0
    template = ""
    print
    former = $0
}
END { printf "%s", template }
