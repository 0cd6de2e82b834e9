set pagination off
set print pretty off
set print address off
set print object on
break Here
run
up
print text
print framework
print path
print moment
print old
print unset
print version
print angle
print array
print dynamic
print memory
print buffer
print blockMemory
print sparse
print list
print blockList
print queue
print map
print grid
print heap
print frameworkArray
print frameworkList
print flat
print matrix
print wide
print histogram
print compact
print guid
print conditions
print tag
print arrayTag
print numeratedTag
print numbersTag
print histogramTag
print listTag
print noListTag
print objectTag
print exception
print defect
print plain
print noMemory
print ole
print damagedList
print damagedMap
print damagedText
set print elements 2
print array
print text
