<?php echo "part of the program\n";
