<pre>Canteen, week <?= 20 + 2 ?>

Monday   soup
Tuesday  soup, warmed up
</pre>
