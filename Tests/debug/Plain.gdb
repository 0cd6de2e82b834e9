set pagination off
set print address off
break Plain.cc:13
run
print conditions
print tag
