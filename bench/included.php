<?php return 1;
