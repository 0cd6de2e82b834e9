[General]
File=Quandelmeter Exceptions Log
TotalCount=2
Date=20261121
Time=19162402
[0]
Date=20261121
Time=19305900
Group=Tür
Level=EXCEPT_USER
Message=offen￿seit gestern
[1]
Date=20261122
Time=1
Group=Sensor
Level=EXCEPT_FATAL
Message=Kein Signal
